// The abort command through the exported entry, from another thread and from inside an event, and
// what a throwing host callback leads to.

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
      downloads_[i] = {};
      SetField(downloads_[i].url, Url() + "/slow");
      downloads_[i].destPath = Text(paths_[i]);
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
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), uint32_t{kKELOResult_GeneralFailure});
  Queue("GetUserArchiveInfo", "<r stat=\"ok\" totalCount=\"0\" />");
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 0u);
}

TEST_F(AbortCommandTest, AThrowingCallbackEndsTheCommandAndLeavesNoFile) {
  OpenScriptedSession();
  Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t { throw 42; });
  EXPECT_EQ(DownloadSlowFiles(), uint32_t{kKELOResult_GeneralFailure});
  EXPECT_FALSE(std::filesystem::exists(paths_[0]));
  Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t { return 0; });
  ScriptAnswers();
  Queue("GetUserArchiveInfo", "<r stat=\"ok\" totalCount=\"0\" />");
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 0u);
}

}  // namespace
}  // namespace kelo::testing
