// How long each request of each command may be silent, as the URL loader is told.

#include "controller/KELOAccessCommandController.h"
#include "http/HTTPConnectionMac.h"
#include "http/ScriptedLoader.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class TimeoutTest : public ::testing::Test {
 protected:
  TimeoutTest() {
    controller_.UseHTTPController(std::make_unique<KELOHTTPController>(
        std::make_unique<HTTPConnection>(std::make_unique<HTTPConnectionMac>(
            std::make_unique<ScriptedLoader>(script_), folder_.Path("spool")))));
    tagKELO_SessionInfo session{};
    SetField(session.token, "T");
    SetField(session.manageUrl, "http://service.example/manage");
    SetField(session.uploadUrl, "http://service.example/upload");
    Send(kKELOCommand_SetSessionInfo, &session);
  }

  uint32_t Send(uint32_t code, void* data) {
    tagCommandControlInfo record{};
    SetField(record.signingSecret, "secret");
    record.data = data;
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

using Seconds = std::vector<uint32_t>;

TEST_F(TimeoutTest, LoadingHasMoreForLargerAccounts) {
  const std::pair<const char*, uint32_t> cases[] = {
      {"0", 60},
      {"4999", 60},
      {"5000", 120},
      {"12000", 180},
      {"19999", 240},
      {"20000", 300},
      {"30000", 300},
      {"4294967295", 300},
      {"5000 or so", 120},
      {"", 60},
      {"18446744073709551615", 300},
      {"18446744073709556616", 120}};  // 2^64 - 1, 2^64 + 5000
  for (const auto& [total, seconds] : cases) {
    Answer(std::string("totalCount=\"") + total + "\"");
    Answer("");
    Answer("");
    EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, nullptr), 0u) << total;
    EXPECT_EQ(Timeouts(), (Seconds{60, seconds, 180})) << total;
  }
}

TEST_F(TimeoutTest, ACheckHasMoreForMoreFiles) {
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
    EXPECT_EQ(Timeouts(), (Seconds{seconds, seconds}));
  }
}

}  // namespace
}  // namespace kelo::testing
