// The abort command through the exported entry, at every moment of a batch and before the first
// command. What comes after an abort, also from inside an event, is in tests/recovery; an abort of
// what reads an answer is in RequestsTest.

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
    service().ClearArrived();
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
