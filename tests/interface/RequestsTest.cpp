// The requests of the commands: what answers that are no use come to, which of them are sent once
// more, how long each may be silent, and answers whose reading is aborted.

#include "controller/KELOAccessCommandController.h"
#include "http/HTTPConnectionMac.h"
#include "http/ScriptedLoader.h"
#include "http/SocketServer.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class RequestsTest : public CommandTest {
 protected:
  // Sends `code` with a record of its own; answers the command's result.
  uint32_t SendPlausible(uint32_t code, const std::string& prefix = "") {
    records_.emplace(folder(), prefix);
    return SendOne(code, records_->Of(code), code == kKELOCommand_AddTags ? "I1" : prefix + "A1",
                   kKELOOption_AskService | options_, kKELOKind_FileItem | kinds_);
  }

  std::optional<HostRecords> records_;
  uint32_t options_ = 0;
  uint32_t kinds_ = 0;
};

enum class Repeat { kNever, kOnce, kNotTried };

struct CommandOnTheWire {
  uint32_t code;
  const char* method;
  Repeat repeat;            // where the connection dies under it
  uint32_t refused = 4116;  // what it gives where the service knows no such session
  uint32_t others = 0;      // likewise for every other fault; 0: what its record tells
};

const CommandOnTheWire kCommands[] = {
    {kKELOCommand_CloseSession, "CloseSession", Repeat::kNotTried},
    {kKELOCommand_LoadHierarchy, "GetUserArchiveInfo", Repeat::kOnce},
    {kKELOCommand_GetItemInfo, "GetItemsInfo", Repeat::kOnce},
    {kKELOCommand_AddItems, "AddAlbum", Repeat::kNever, 0},
    {kKELOCommand_AddNewLink, "AddItemsToAlbum", Repeat::kNever, 0},
    {kKELOCommand_Upload, "UploadItems", Repeat::kNotTried},
    {kKELOCommand_VerifyRecipient, "VerifyRecipients", Repeat::kOnce, 4144},
    {kKELOCommand_GetAddressList, "GetAddressList", Repeat::kOnce, 4116, 4144},
    {kKELOCommand_SendPictureMail, "ShareAlbum", Repeat::kNever},
    {kKELOCommand_GetStorageCapacity, "GetStorageCapacity", Repeat::kOnce, 0},
    {kKELOCommand_ModifyProps, "ModifyProps", Repeat::kNever},
    {kKELOCommand_AddTags, "AddTags", Repeat::kNotTried},
};

TEST_F(RequestsTest, EveryCommandTellsWhatIsWrongWithAnAnswer) {
  const struct {
    const char* name;
    Answer answer;
    uint32_t result;  // that the record tells
  } faults[] = {
      {"empty", "", 4144},
      {"404", ReplyWith(kOk, 404), 4114},
      {"504", ReplyWith("", 504), 4128},
      {"closed", Reply{.closeAtOnce = true}, 4129},
      {"refused", "<r stat=\"fail\" errcode=\"107\" errmsg=\"gone\" />", 4116},
  };
  OpenScriptedSession();
  LoadSmallHierarchy();
  for (const CommandOnTheWire& command : kCommands) {
    for (const auto& fault : faults) {
      SCOPED_TRACE(std::string(command.method) + " " + fault.name);
      Script(command.method, fault.answer);
      const uint32_t others = command.others != 0 ? command.others : fault.result;
      EXPECT_EQ(SendPlausible(command.code), fault.result == 4116 ? command.refused : others);
      if (const uint32_t* word = records_->ResultWord(command.code)) EXPECT_EQ(*word, fault.result);
      EXPECT_EQ(records_->upload.result, 0u) << "no file was refused";
      EXPECT_EQ(FieldText(records_->upload.itemId), "");
    }
  }
}

TEST_F(RequestsTest, NothingInAHostsTextAddsAnAttribute) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  Script("CheckUploadItems", "<r stat=\"ok\"><items><item idx=\"1\" status=\"0\"/></items></r>");
  options_ = kKELOOption_CheckDuplicates;
  size_t documents = 0;
  for (const CommandOnTheWire& command : kCommands) {
    if (command.code == kKELOCommand_CloseSession) continue;
    kinds_ = command.code == kKELOCommand_Upload ? 7 : 0;
    service().ClearArrived();
    SendPlausible(command.code, "\" e=\"");
    for (const ClientRequest& request : service().Arrived()) {
      SCOPED_TRACE(request.method + "\n" + request.body);
      ++documents;
      EXPECT_EQ(request.body.find(" e=\""), std::string::npos);
      const bool hasText = command.code != kKELOCommand_LoadHierarchy &&
                           command.code != kKELOCommand_GetAddressList &&
                           command.code != kKELOCommand_GetStorageCapacity;
      EXPECT_EQ(request.body.find("=\"&quot; e=&quot;") != std::string::npos ||
                    request.body.find("=\"mailto:&quot; e=&quot;") != std::string::npos,
                hasText);
    }
  }
  EXPECT_EQ(documents, std::size(kCommands) - 1 + 1 + 2);  // a load sends three, an upload two
}

// A peer that closes a kept connection just as the next document sets out: what only reads is sent
// once more, what changes something never.
constexpr const char* kAnswer =
    "<r stat=\"ok\" dataCapacity=\"1\" storageCapacity=\"2\" addressList=\"\" totalCount=\"0\" "
    "albumId=\"A\"><items><item itemId=\"A1\" fileName=\"f\"></item></items></r>";

// A request as the service would log it.
ClientRequest Logged(const std::string& text) {
  ClientRequest request;
  request.query = text.substr(text.find('?') + 1);
  request.query.resize(request.query.find(' '));
  request.body = text.substr(text.find("\r\n\r\n") + 4);
  return request;
}

// Answers the first request of the first connection, hears the second and leaves.
void LeaveAfterTheFirst(Peer& peer) {
  const bool leaves = peer.Index() == 0;
  for (int i = 0; !peer.ReadRequest().empty() && (!leaves || i == 0); ++i)
    if (!peer.Reply(200, kAnswer)) return;
}

TEST_F(RequestsTest, OnlyWhatReadsIsSentOnceMore) {
  for (const CommandOnTheWire& command : kCommands) {
    if (command.repeat == Repeat::kNotTried) continue;
    SCOPED_TRACE(command.method);
    const bool repeated = command.repeat == Repeat::kOnce;
    SocketServer server(LeaveAfterTheFirst);
    UseSession(SessionAt(server.Url()));
    ASSERT_EQ(Capacity(), 0u);
    EXPECT_EQ(SendPlausible(command.code), repeated ? 0u : uint32_t{kKELOResult_ConnectionLost});
    const auto requests = server.Requests();
    if (!repeated) {
      EXPECT_EQ(requests.size(), 2u);
      continue;
    }
    ASSERT_GE(requests.size(), 3u);
    EXPECT_GE(server.Connections(), 2);
    const ClientRequest first = Logged(requests[1]);
    const ClientRequest again = Logged(requests[2]);
    EXPECT_NE(QueryValue(first.query, "callId"), QueryValue(again.query, "callId"));
    EXPECT_EQ(first.body, again.body);
    ExpectSigned(again, again.body);
  }
}

TEST_F(RequestsTest, OnceAndOnlyWhenNothingCame) {
  const std::pair<const char*, size_t> cases[] = {{"", 3}, {"HTTP/1.1 200 OK\r\n", 2}};
  for (const auto& [begun, requests] : cases) {
    // One answer, and from then on every request is heard and left.
    SocketServer fickle([begin = begun](Peer& peer) {
      peer.ReadRequest();
      if (peer.Index() > 0) return;
      peer.Reply(200, kAnswer);
      if (!peer.ReadRequest().empty()) peer.Send(begin);
    });
    UseSession(SessionAt(fickle.Url()));
    ASSERT_EQ(SendPlausible(kKELOCommand_GetAddressList), 0u);
    EXPECT_EQ(Capacity(), uint32_t{kKELOResult_ConnectionLost});
    EXPECT_EQ(fickle.Requests().size(), requests);
  }
  // A connection that was new has nothing to do with how long another one was kept.
  SocketServer gone([](Peer& peer) { peer.ReadRequest(); });
  UseSession(SessionAt(gone.Url()));
  EXPECT_EQ(Capacity(), uint32_t{kKELOResult_ConnectionLost});
  EXPECT_EQ(gone.Requests().size(), 1u);

  // The last document of a load, whose method has an attribute beside it.
  SocketServer late([](Peer& peer) {
    for (std::string request; !(request = peer.ReadRequest()).empty();) {
      if (peer.Index() == 0 && request.find("<GetForeignAlbumItems") != std::string::npos) return;
      peer.Reply(200, kAnswer);
    }
  });
  UseSession(SessionAt(late.Url()));
  EXPECT_EQ(SendPlausible(kKELOCommand_LoadHierarchy), 0u);
  EXPECT_EQ(late.Requests().size(), 4u);
}

// The commands over a URL loader whose events a test writes.
class ScriptedLoading : public ::testing::Test {
 protected:
  ScriptedLoading() {
    controller_.UseHTTPController(std::make_unique<KELOHTTPController>(
        std::make_unique<HTTPConnection>(std::make_unique<HTTPConnectionMac>(
            std::make_unique<ScriptedLoader>(script_), folder_.Path("spool")))));
    tagKELO_SessionInfo session = SessionAt("http://service.example");
    Send(kKELOCommand_SetSessionInfo, &session);
  }

  uint32_t Send(uint32_t code, void* data = nullptr, uint32_t options = 0) {
    tagCommandControlInfo record{};
    SetField(record.targetId, "I");
    SetField(record.signingSecret, "secret");
    record.data = data;
    record.entryCount = 1;
    record.outputOptions = options;
    return controller_.AccessCommand(code, &record);
  }
  void Answer(const std::string& attributes, const std::string& content = "") {
    script_.Answer(200, "<r stat=\"ok\" " + attributes + ">" + content + "</r>");
  }
  // The time-outs of the requests since the last call.
  std::vector<uint32_t> Timeouts() {
    std::vector<uint32_t> timeouts;
    for (const URLRequest& request : script_.requests) timeouts.push_back(request.timeout);
    script_.requests.clear();
    EXPECT_TRUE(script_.steps.empty());
    return timeouts;
  }

  TemporaryFolder folder_;
  LoaderScript script_;
  KELOAccessCommandController controller_;
};

TEST_F(ScriptedLoading, ALoadMayTakeLongerForLargerAccounts) {
  const std::pair<const char*, uint32_t> cases[] = {
      {"4999", 60},
      {"5000", 120},
      {"19999", 240},
      {"20000", 300},
      {"5000 or so", 120},
      {"", 60},
      {"18446744073709551615", 300},
      {"18446744073709556616", 120}};  // 2^64 - 1, 2^64 + 5000
  for (const auto& [total, seconds] : cases) {
    Answer(std::string("totalCount=\"") + total + "\"");
    Answer("");
    Answer("");
    EXPECT_EQ(Send(kKELOCommand_LoadHierarchy), 0u) << total;
    EXPECT_EQ(Timeouts(), (std::vector<uint32_t>{60, seconds, 180})) << total;
  }
}

TEST_F(ScriptedLoading, ACheckMayTakeLongerForMoreFiles) {
  std::string path = folder_.Write("p.jpg", "");
  tagKELO_LoadInfo record{};
  record.filePath = Text(path);
  for (const auto& [count, seconds] : {std::pair<size_t, uint32_t>{4999, 60}, {5000, 120}}) {
    std::vector<tagKELO_LoadInfo> records(count, record);
    std::string uploadId;
    for (int i = 0; i < 2; ++i) Answer("uploadId=\"U\"", "<items><item idx=\"1\"/></items>");
    bool anyToSend = false;
    EXPECT_EQ(controller_.CheckUploadItems("A1", records, 0, anyToSend), 0u);
    EXPECT_EQ(controller_.NegotiateUploadItems("A1", records, uploadId), 0u);
    EXPECT_EQ(Timeouts(), (std::vector<uint32_t>{seconds, seconds}));
  }
}

// The abort comes just as one of the answers has arrived.
TEST_F(ScriptedLoading, AbortedAnswersAreNotReadToTheirEnd) {
  const struct {
    uint32_t code;
    size_t answer;
    uint32_t options;
    const char* name;  // that the catalogue shows afterwards
  } cases[] = {{kKELOCommand_LoadHierarchy, 2, 0, "old"},
               {kKELOCommand_LoadHierarchy, 3, 0, "new"},  // that of the friends' albums
               {kKELOCommand_GetItemInfo, 1, kKELOOption_AskService, "old"},
               {kKELOCommand_Upload, 1, kKELOOption_CheckDuplicates, "old"},
               {kKELOCommand_Upload, 1, 0, "old"}};
  const auto answerEach = [this](const std::string& name) {
    for (int i = 0; i < 3; ++i)
      Answer("totalCount=\"1\"",
             "<albums><album albumId=\"A\"><items><item idx=\"1\" status=\"0\" itemId=\"I\" "
             "fileName=\"" +
                 name + "\"/></items></album></albums>");
  };
  for (const auto& c : cases) {
    HostRecords records(folder_);
    records.session = SessionAt("http://service.example");
    ASSERT_EQ(Send(kKELOCommand_SetSessionInfo, &records.session), 0u);
    answerEach("old");
    ASSERT_EQ(Send(kKELOCommand_LoadHierarchy), 0u);
    answerEach("new");
    script_.steps[3 * c.answer - 1] = [this](URLConnectionDelegate& delegate) {
      delegate.DidFinishLoading();
      controller_.AccessCommand(kKELOCommand_Abort, nullptr);
    };
    EXPECT_EQ(Send(c.code, records.Of(c.code), c.options), uint32_t{kKELOResult_Aborted}) << c.code;
    script_.steps.clear();
    if (const uint32_t* word = records.ResultWord(c.code))
      EXPECT_EQ(*word, uint32_t{kKELOResult_Aborted});
    tagKELO_ItemInfo item{};
    EXPECT_EQ(Send(kKELOCommand_GetItemInfo, &item), 0u) << "the abort is over";
    EXPECT_STREQ(item.name, c.name) << c.code;
    EXPECT_STREQ(records.upload.itemId, "");
  }
}

}  // namespace
}  // namespace kelo::testing
