// The abort command through the exported entry, at every moment of a batch and before the first
// command. What comes after an abort, also from inside an event, is in tests/recovery.

#include "controller/KELOAccessCommandController.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

using AbortCommandTest = CommandTest;

// Most of such a batch is spent between two requests.
TEST_F(AbortCommandTest, IntoABatchOfSmallFilesIsHeardAlways) {
  constexpr size_t kFiles = 400;
  constexpr size_t kAborts = 25;
  OpenScriptedSession();
  std::vector<std::string> paths(kFiles);
  for (size_t i = 0; i < kFiles; ++i) paths[i] = folder().Path("file" + std::to_string(i));
  for (size_t round = 0; round < kAborts; ++round) {
    SCOPED_TRACE(round);
    service().ClearLog();
    std::vector<tagKELO_DownloadInfo> files;
    for (std::string& path : paths) files.push_back(DownloadOf(Url() + "/small", path));
    std::thread other([&] {
      while (service().RequestCount() <= round) std::this_thread::yield();
      KELOAccessCommand(kKELOCommand_Abort, nullptr);
    });
    EXPECT_EQ(SendAll(kKELOCommand_Download, files), uint32_t{kKELOResult_Aborted});
    other.join();
    const auto hasEnded = [](const tagKELO_DownloadInfo& file) { return file.result != 0; };
    const auto stored = std::ranges::find_if(files, hasEnded) - files.begin();
    EXPECT_LT(service().RequestCount(), kFiles);
    for (ptrdiff_t i = 0; i < std::ssize(files); ++i) {
      EXPECT_EQ(files[i].result, i < stored ? 0u : uint32_t{kKELOResult_Aborted}) << i;
      EXPECT_EQ(files[i].receivedSize > 0, i < stored) << i;
      EXPECT_EQ(std::filesystem::remove(paths[i]), i < stored) << i;
    }
  }
}

// Answers every request alike. One of the answers has just arrived when the abort comes.
class AbortedController : public KELOHTTPController {
 public:
  explicit AbortedController(KELOAccessCommandController& commands) : commands_(commands) {}
  uint32_t HTTPRequestPUT(const std::string&, const std::string&, const std::string&,
                          std::string& response, uint32_t) override {
    return Answer(response);
  }
  uint32_t HTTPRequestFileUpload(const std::string&, const std::string&,
                                 const std::vector<tagHTTPConnection_HeaderInfo>&,
                                 const std::vector<tagHTTPConnection_MultipartBody>&,
                                 std::string& response, uint32_t) override {
    return Answer(response);
  }
  std::string name_ = "old";
  int abortedAnswer_ = 0;

 private:
  uint32_t Answer(std::string& response) {
    response =
        "<r stat=\"ok\" totalCount=\"1\"><albums><album albumId=\"A\"><items><item idx=\"1\" "
        "status=\"0\" itemId=\"I\" fileName=\"" +
        name_ + "\"/></items></album></albums></r>";
    if (--abortedAnswer_ == 0) commands_.AccessCommand(kKELOCommand_Abort, nullptr);
    return 0;
  }
  KELOAccessCommandController& commands_;
};

TEST(AbortedAnswers, AreNotReadToTheirEnd) {
  const struct {
    uint32_t code;
    int answer;
    uint32_t options;
    const char* name;  // that the catalogue shows afterwards
  } cases[] = {{kKELOCommand_LoadHierarchy, 2, 0, "old"},
               {kKELOCommand_LoadHierarchy, 3, 0, "new"},  // that of the friends' albums
               {kKELOCommand_GetItemInfo, 1, kKELOOption_AskService, "old"},
               {kKELOCommand_Upload, 1, kKELOOption_CheckDuplicates, "old"},
               {kKELOCommand_Upload, 1, 0, "old"}};
  for (const auto& c : cases) {
    TemporaryFolder folder;
    HostRecords records(folder);
    KELOAccessCommandController commands;
    auto made = std::make_unique<AbortedController>(commands);
    AbortedController& http = *made;
    commands.UseHTTPController(std::move(made));
    const auto send = [&](uint32_t code, void* data, uint32_t options) {
      tagCommandControlInfo record{};
      SetField(record.targetId, "I");
      record.data = data;
      record.entryCount = 1;
      record.outputOptions = options;
      return commands.AccessCommand(code, &record);
    };
    records.session = SessionAt("http://service.example");
    ASSERT_EQ(send(kKELOCommand_SetSessionInfo, &records.session, 0), 0u);
    ASSERT_EQ(send(kKELOCommand_LoadHierarchy, nullptr, 0), 0u);
    http.name_ = "new";
    http.abortedAnswer_ = c.answer;
    EXPECT_EQ(send(c.code, records.Of(c.code), c.options), uint32_t{kKELOResult_Aborted}) << c.code;
    if (const uint32_t* word = records.ResultWord(c.code))
      EXPECT_EQ(*word, uint32_t{kKELOResult_Aborted});
    tagKELO_ItemInfo item{};
    EXPECT_EQ(send(kKELOCommand_GetItemInfo, &item, 0), 0u) << "the abort is over";
    EXPECT_STREQ(item.name, c.name) << c.code;
    EXPECT_STREQ(records.upload.itemId, "");
  }
}

TEST_F(AbortCommandTest, MayComeWhileTheFirstCommandMakesItsControllers) {
  Script();
  for (int round = 0; round < 50; ++round) {
    KELOAccessClose();
    KELOAccessInitialize(0);
    std::atomic<bool> over = false;
    std::thread other([&] {
      while (!over) EXPECT_EQ(KELOAccessCommand(kKELOCommand_Abort, nullptr), 0u);
    });
    const uint32_t result = Open();
    EXPECT_TRUE(result == 0 || result == kKELOResult_Aborted) << result;
    over = true;
    other.join();
    EXPECT_EQ(Open(), 0u);
  }
}

}  // namespace
}  // namespace kelo::testing
