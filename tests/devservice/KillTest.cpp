// The program killed in the middle of uploads, at random moments.
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <thread>

#include "devservice/Client.h"
#include "devservice/ServiceProgram.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 8;
constexpr size_t kFileSize = 200'000;

std::vector<std::string> FileNames(Client& client) {
  return Between(client.GetHierarchy().body, "fileName=\"", "\"");
}

// Uploads those that are not stored, one request for each two files.
void UploadMissing(Client& client, const std::vector<std::string>& stored) {
  std::vector<File> files;
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = std::to_string(i) + ".jpg";
    if (std::ranges::find(stored, name) != stored.end()) continue;
    files.push_back({name, std::string(kFileSize, static_cast<char>('a' + i))});
    if (files.size() < 2) continue;
    Post(client, MakeUpload(files));
    files.clear();
  }
  if (!files.empty()) Post(client, MakeUpload(files));
}

// Nothing but whole files that are listed, and their number.
size_t CheckFolder(const TemporaryFolder& folder) {
  size_t count = 0;
  for (const auto& entry : fs::directory_iterator(folder.Path("data/files"))) {
    EXPECT_EQ(entry.file_size(), kFileSize);
    ++count;
  }
  return count;
}

// KELO_KILLS says how many times, 10 if it says nothing; KELO_KILLS_SEED repeats the moments of a
// run.
TEST(Kill, InTheMiddleOfAnUploadLosesAndDoublesNothing) {
  const char* asked = std::getenv("KELO_KILLS");
  const int rounds = asked ? std::atoi(asked) : 10;
  const char* given = std::getenv("KELO_KILLS_SEED");
  const auto seed = given ? static_cast<unsigned>(std::stoul(given)) : std::random_device{}();
  std::mt19937 random(seed);
  int before = 0;
  int inTheMiddle = 0;
  for (int round = 0; round < rounds; ++round) {
    const TemporaryFolder folder;
    const std::vector<std::string> options{"--data", folder.Path("data"), "--control-file",
                                           folder.Path("url")};
    {
      ServiceProcess victim(options);
      ASSERT_TRUE(victim.IsServing());
      Client client(victim.url, victim.key, victim.account);
      client.Open();
      std::thread uploading([&] { UploadMissing(client, {}); });
      // The moment itself is what is tried here; nothing depends on how long it is.
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
      victim.End(SIGKILL);
      uploading.join();
    }
    ServiceProcess again(options);
    ASSERT_TRUE(again.IsServing());
    Client client(again.url, again.key, again.account);
    client.Open();
    const auto stored = FileNames(client);
    EXPECT_EQ(CheckFolder(folder), stored.size());
    EXPECT_EQ(stored.size() % 2, 0u) << "half of an upload is stored";
    before += stored.empty();
    inTheMiddle += !stored.empty() && stored.size() < kFiles;
    UploadMissing(client, stored);
    auto all = FileNames(client);
    std::ranges::sort(all);
    EXPECT_EQ(all.size(), static_cast<size_t>(kFiles));
    EXPECT_EQ(std::ranges::unique(all).begin(), all.end()) << "a file is stored twice";
    EXPECT_EQ(CheckFolder(folder), static_cast<size_t>(kFiles));
    if (HasFailure()) break;
  }
  std::printf(
      "KELO_KILLS_SEED=%u: of %d kills %d struck in the middle, %d before the first upload\n", seed,
      rounds, inTheMiddle, before);
}

}  // namespace
}  // namespace kelo::devservice
