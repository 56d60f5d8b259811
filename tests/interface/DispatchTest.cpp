// The command frame: which queries are answered, how records are read, who hears events. What is
// checked before any work is in tests/c. And what hosts do with their records: option bits of other
// commands, texts that are null or come out empty. Records that are used again are in the tests of
// their commands.

#include <type_traits>

#include "interface/KELOAccessLibrary.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

// The end of a program must not destroy the controller under a command of another thread.
static_assert(
    std::is_trivially_destructible_v<decltype(KELOAccessLibrary::pKELOAccessCommandController)>);

class DispatchTest : public CommandTest {};

TEST_F(DispatchTest, QueriesAcceptOnlyTheKindsOfTheirTarget) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  const std::string all = KELO_ALL_ITEMS_ID;
  const struct {
    const char* target;
    uint32_t kinds;
    uint32_t result;
  } cases[] = {
      {"", 0x143, 0},
      {"", 0x147, 4115},
      {"", 0, 4115},
      {KELO_ALL_ITEMS_ID, 0x157, 0},
      {KELO_ALL_ITEMS_ID, 0x158, 4115},
      {KELO_ALL_ITEMS_ID "\xFF", 4, 4115},
      {all.c_str() + 1, 4, 4115},
      {KELO_ROOT_ALBUM_ID, 4, 0},
      {KELO_ROOT_ALBUM_ID, 6, 4115},
      {"F1", 0x102, 0},
      {"F1", 0x004, 4115},
      {"A1", 4, 0},
      {"A1", 2, 4115},
      {"B1", 4, 0},
      {"B1", 2, 4115},
      {"unknown", 4, 4115},
      {"KELO_CACHEINFO_ROOT_ID", 0x102, 0},
      {"KELO_CACHEINFO_ROOT_ID", 0x103, 4115},
      {"KELO_CACHEINFO_ROOT_ID", 0x40, 4115},
  };
  for (const auto& c : cases) {
    uint32_t count = 77;
    SCOPED_TRACE(std::string(c.target) + " " + std::to_string(c.kinds));
    EXPECT_EQ(Send(kKELOCommand_GetItemsCount, Record(&count, c.target, 0, c.kinds)), c.result);
    EXPECT_EQ(count == 77, c.result != 0);
    std::vector<tagKELO_ItemInfo> items(c.result == 0 ? count : 0);
    EXPECT_EQ(SendAll(kKELOCommand_GetItemsList, items, c.target, 0, c.kinds), c.result);
  }
}

TEST_F(DispatchTest, RecordsAtOddAddressesAndWithoutTheLastByteAreRead) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  char space[200];
  char* odd = space + 1;
  uint32_t counts[2] = {};
  char* oddCount = reinterpret_cast<char*>(counts) + 1;
  const tagCommandControlInfo record = Record(oddCount, "A1", 0, kKELOKind_FileItem);
  std::memset(space, 0x55, sizeof space);
  std::memcpy(odd, &record, 175);
  auto* info = reinterpret_cast<tagCommandControlInfo*>(odd);  // as a packed host would pass it
  ASSERT_EQ(KELOAccessCommand(kKELOCommand_GetItemsCount, info), 0u);
  uint32_t count;
  std::memcpy(&count, oddCount, sizeof count);
  EXPECT_EQ(count, 2u);
}

TEST_F(DispatchTest, EventsFollowMaskAndCallback) {
  OpenScriptedSession();
  static int events;
  const KELOAccessEventCallback callback = [](uint32_t, uint32_t,
                                              const tagKELO_ProgressInfo*) -> uint32_t {
    ++events;
    return 0xDEAD;
  };
  const struct {
    uint32_t code, mask;
    bool heard;
  } steps[] = {
      {kKELOCommand_RegisterEventCallBack, ~0x200u, false},
      {kKELOCommand_RegisterEventCallBack, 0x201, true},
      {kKELOCommand_UnregisterEventCallBack, 0x1, true},
      {kKELOCommand_UnregisterEventCallBack, 0x200, false},
      {kKELOCommand_RegisterEventCallBack, 0x200, true},
      {kKELOCommand_RegisterEventCallBack, 0x1, false},  // the mask is replaced, not merged
  };
  for (const auto& step : steps) {
    Register(callback, step.mask, step.code);
    UseSession(SessionAt(Url()));  // which leaves both as they are
    events = 0;
    EXPECT_EQ(Download(Url() + "/picture"), 0u);
    std::filesystem::remove(DownloadPath());
    EXPECT_EQ(events > 0, step.heard) << step.code << " " << step.mask;
  }
}

class HostRecordsTest : public CommandTest {
 protected:
  void SetUp() override {
    OpenScriptedSession();
    LoadSmallHierarchy();
  }
  // A text that a command must leave alone.
  tagKELO_StringInfo Sentinel() { return {sentinel_, 77}; }
  void ExpectUntouched(const tagKELO_StringInfo& info) {
    EXPECT_EQ(info.text, sentinel_);
    EXPECT_EQ(info.length, 77u);
  }

  char sentinel_[4] = "abc";
};

TEST_F(HostRecordsTest, EachOptionIsOneBit) {
  std::string text = "a@x";
  std::string path = folder().Write("a.jpg", "A");
  for (const bool set : {false, true}) {
    const auto send = [&](uint32_t code, void* data, uint32_t option) {
      service().ClearArrived();
      SendOne(code, data, "A1", set ? option : ~option);
    };
    tagKELO_ItemInfo item{};
    send(kKELOCommand_GetItemInfo, &item, kKELOOption_AskService);
    EXPECT_EQ(Requests("GetItemsInfo").size(), set ? 1u : 0u);

    tagKELO_RecipientInfo recipients{Text(text), {}, {}};
    send(kKELOCommand_VerifyRecipient, &recipients, kKELOOption_ReturnTexts);
    EXPECT_EQ(TakeText(recipients.accepted), set ? text : "");

    for (const uint32_t option : {kKELOOption_VerifyRecipients, kKELOOption_ReturnTexts}) {
      tagKELO_PictureMailInfo mail{};
      mail.recipients = Text(text);
      send(kKELOCommand_SendPictureMail, &mail, option);
      const bool verifies = set == (option == kKELOOption_VerifyRecipients);
      EXPECT_EQ(Requests("VerifyRecipients").size(), verifies ? 1u : 0u);
      EXPECT_EQ(TakeText(mail.accepted), "");  // that takes both
    }

    tagKELO_LoadInfo file = UploadOf(path, 1);
    send(kKELOCommand_Upload, &file, kKELOOption_CheckDuplicates);
    EXPECT_EQ(Requests("CheckUploadItems").size(), set ? 1u : 0u);
  }
}

TEST_F(HostRecordsTest, ANullTextIsEmptyWhateverItsLength) {
  const tagKELO_StringInfo none{nullptr, 9};
  tagKELO_RecipientInfo recipients{none, {}, {}};
  EXPECT_EQ(Send(kKELOCommand_VerifyRecipient, Record(&recipients)), 0u);
  EXPECT_EQ(service().RequestCount(), 0u);

  tagKELO_PictureMailInfo mail{0, none, {}, {}, none, none, 0};
  EXPECT_EQ(Send(kKELOCommand_SendPictureMail, Record(&mail, "A1")), 0u);
  ExpectDocument(OnlyRequest(),
                 "<ShareAlbum albumId=\"A1\" recipientList=\"mailto:\" subjectText=\"\" "
                 "bodyText=\"\" removeGPSInfo=\"false\" />\r\n");
  service().ClearArrived();

  std::string path;
  tagKELO_LoadInfo file = UploadOf(path, 1);
  file.filePath = file.fileName = none;
  EXPECT_EQ(SendOne(kKELOCommand_Upload, &file, "A1"), 4098u);

  tagKELO_DownloadInfo download = DownloadOf(Url() + "/picture", path);
  download.destPath = none;
  EXPECT_EQ(SendOne(kKELOCommand_Download, &download), 4113u);
  EXPECT_EQ(service().RequestCount(), 0u);
}

TEST_F(HostRecordsTest, TextsThatComeOutEmptyLeaveTheRecordAlone) {
  std::string text = "a@x";
  for (const bool refused : {false, true}) {
    Script("VerifyRecipients", refused ? RejectionOf(text) : kOk);
    tagKELO_RecipientInfo recipients{Text(text), Sentinel(), Sentinel()};
    tagCommandControlInfo record =
        Record(&recipients, "A1", kKELOOption_ReturnTexts | kKELOOption_VerifyRecipients);
    EXPECT_EQ(Send(kKELOCommand_VerifyRecipient, record), refused ? 4117u : 0u);
    ExpectUntouched(refused ? recipients.accepted : recipients.rejected);
    EXPECT_EQ(TakeText(refused ? recipients.rejected : recipients.accepted), text);

    tagKELO_PictureMailInfo mail{0, Text(text), Sentinel(), Sentinel(), {}, {}, 0};
    record.data = &mail;
    EXPECT_EQ(Send(kKELOCommand_SendPictureMail, record), 0u);
    EXPECT_EQ(mail.status, refused ? 4117u : 0u);
    ExpectUntouched(refused ? mail.accepted : mail.rejected);
    EXPECT_EQ(TakeText(refused ? mail.rejected : mail.accepted), text);
  }
  service().ClearArrived();
  Script("GetAddressList", "<r stat=\"ok\" addressList=\"\" />", kOk);
  for (const uint32_t result : {0u, 4144u}) {  // empty, and absent
    tagKELO_StringInfo list = Sentinel();
    EXPECT_EQ(Send(kKELOCommand_GetAddressList, Record(&list)), result);
    ExpectUntouched(list);
    ExpectDocument(service().Arrived().back(), "<GetAddressList />\r\n");
  }
}

}  // namespace
}  // namespace kelo::testing
