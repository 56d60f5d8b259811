// The abort command through the exported entry, from another thread and from inside an event.

#include <atomic>
#include <thread>

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class AbortCommandTest : public CommandTest {
 protected:
  // Three files whose bodies come slowly; the command's result, with the records in `downloads_`.
  uint32_t DownloadSlowFiles() {
    service().SetScript([](const LoggedRequest&) {
      Reply reply;
      reply.body.assign(1 << 20, 'x');
      reply.chunkSize = 1024;
      reply.chunkDelay = std::chrono::milliseconds(20);
      return reply;
    });
    for (size_t i = 0; i < 3; ++i) {
      paths_[i] = folder().Path("file" + std::to_string(i));
      downloads_[i] = DownloadOf(Url() + "/slow", paths_[i]);
    }
    tagCommandControlInfo record = Record(downloads_);
    record.entryCount = 3;
    return Send(kKELOCommand_Download, record);
  }
  void ExpectAllAbortedWithoutAFile() {
    for (size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(downloads_[i].result, uint32_t{kKELOResult_Aborted});
      EXPECT_EQ(downloads_[i].receivedSize, 0u);
      EXPECT_FALSE(std::filesystem::exists(paths_[i]));
    }
    EXPECT_EQ(service().RequestCount(), 1u);
  }

  std::string paths_[3];
  tagKELO_DownloadInfo downloads_[3];
};

TEST_F(AbortCommandTest, FromAnotherThreadEndsTheWholeBatch) {
  OpenScriptedSession();
  std::thread other([&] {
    service().WaitForRequest([](const LoggedRequest&) { return true; });
    EXPECT_EQ(KELOAccessCommand(kKELOCommand_Abort, nullptr), 0u);
  });
  EXPECT_EQ(DownloadSlowFiles(), uint32_t{kKELOResult_Aborted});
  other.join();
  ExpectAllAbortedWithoutAFile();
}

TEST_F(AbortCommandTest, FromInsideAnEventReturnsAtOnceAndLeavesNoTrace) {
  OpenScriptedSession();
  static int calls;
  calls = 0;
  Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t {
    ++calls;
    return KELOAccessCommand(kKELOCommand_Abort, nullptr);
  });
  EXPECT_EQ(DownloadSlowFiles(), uint32_t{kKELOResult_Aborted});
  EXPECT_GE(calls, 1);
  ExpectAllAbortedWithoutAFile();

  ScriptAnswers();
  EXPECT_EQ(KELOAccessCommand(kKELOCommand_Abort, nullptr), 0u);  // while nothing runs
  Queue("GetUserArchiveInfo", "<r stat=\"ok\" totalCount=\"0\" />");
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 0u);
}

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
    tagCommandControlInfo record = Record(files.data());
    record.entryCount = kFiles;
    EXPECT_EQ(Send(kKELOCommand_Download, record), uint32_t{kKELOResult_Aborted});
    other.join();
    EXPECT_LT(service().RequestCount(), kFiles);
    for (size_t i = 0; i < kFiles; ++i) {
      EXPECT_EQ(std::filesystem::exists(paths[i]), files[i].result == 0) << i;
      std::filesystem::remove(paths[i]);
    }
  }
}

TEST_F(AbortCommandTest, MayComeWhileTheFirstCommandMakesItsControllers) {
  ScriptAnswers();
  for (int round = 0; round < 50; ++round) {
    KELOAccessClose();
    KELOAccessInitialize(0);
    std::atomic<bool> over = false;
    std::thread other([&] {
      while (!over) EXPECT_EQ(KELOAccessCommand(kKELOCommand_Abort, nullptr), 0u);
    });
    tagKELO_OpenSessionInfo block{};
    const uint32_t result = Send(kKELOCommand_OpenSession, Record(&block));
    EXPECT_TRUE(result == 0 || result == kKELOResult_Aborted) << result;
    over = true;
    other.join();
    EXPECT_EQ(Send(kKELOCommand_OpenSession, Record(&block)), 0u);
  }
}

TEST_F(AbortCommandTest, EndsAnUploadBeforeItSetsOut) {
  OpenScriptedSession();
  Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t {
    return KELOAccessCommand(kKELOCommand_Abort, nullptr);
  });
  std::string path = folder().Write("f", "f");
  tagKELO_LoadInfo file = UploadOf(path, 1);
  EXPECT_EQ(SendOne(kKELOCommand_Upload, &file), uint32_t{kKELOResult_Aborted});
  EXPECT_EQ(service().RequestCount(), 0u);
}

}  // namespace
}  // namespace kelo::testing
