// The program killed in the middle of uploads, at random moments.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <thread>

#include "devservice/Client.h"
#include "devservice/UploadBody.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 8;
constexpr std::size_t kFileSize = 200'000;

// A service in a process of its own, over a folder.
class ServiceProcess {
 public:
  explicit ServiceProcess(const std::string& folder) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    process_ = fork();
    if (process_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
      execl(KELO_DEVSERVICE, KELO_DEVSERVICE, "--data", (folder + "/data").c_str(),
            "--control-file", (folder + "/url").c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    std::string text;
    char bytes[512];
    while (text.find("kKELO_URLofKELOServer") == std::string::npos) {
      const ssize_t size = read(ends[0], bytes, sizeof bytes);
      if (size <= 0) break;
      text.append(bytes, static_cast<std::size_t>(size));
    }
    close(ends[0]);
    const auto value = [&](const std::string& name) {
      const auto found = Between(text, name, "\n");
      return found.empty() ? std::string() : found[0].substr(found[0].find_first_not_of(' '));
    };
    url = value("URL ");
    key = value("key ");
    account = {"", value("token "), value("secret ")};
  }
  ~ServiceProcess() { Kill(); }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  void Kill() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
  }

  std::string url;
  std::string key;
  Service::Account account;

 private:
  pid_t process_ = -1;
};

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
std::size_t CheckFolder(const TemporaryFolder& folder) {
  std::size_t count = 0;
  for (const auto& entry : fs::directory_iterator(folder.Path("data/files"))) {
    EXPECT_EQ(entry.file_size(), kFileSize);
    ++count;
  }
  return count;
}

// KELO_KILLS says how many times, 10 if it says nothing.
TEST(Kill, InTheMiddleOfAnUploadLosesAndDoublesNothing) {
  const char* asked = std::getenv("KELO_KILLS");
  const int rounds = asked ? std::atoi(asked) : 10;
  std::mt19937 random(std::random_device{}());
  int cut = 0;
  for (int round = 0; round < rounds; ++round) {
    const TemporaryFolder folder;
    {
      ServiceProcess victim(folder.Path());
      ASSERT_NE(victim.url, "");
      Client client(victim.url, victim.key, victim.account);
      client.Open();
      std::thread uploading([&] { UploadMissing(client, {}); });
      // The moment itself is what is tried here; nothing depends on how long it is.
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 80'000));
      victim.Kill();
      uploading.join();
    }
    ServiceProcess again(folder.Path());
    Client client(again.url, again.key, again.account);
    client.Open();
    const auto stored = FileNames(client);
    EXPECT_EQ(CheckFolder(folder), stored.size());
    EXPECT_EQ(stored.size() % 2, 0u) << "half of an upload is stored";
    cut += stored.size() < kFiles;
    UploadMissing(client, stored);
    auto all = FileNames(client);
    std::ranges::sort(all);
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kFiles));
    EXPECT_EQ(std::ranges::unique(all).begin(), all.end()) << "a file is stored twice";
    EXPECT_EQ(CheckFolder(folder), static_cast<std::size_t>(kFiles));
    if (HasFailure()) break;
  }
  RecordProperty("KilledBeforeTheEnd", cut);
  std::printf("%d of %d kills came before the last file was stored\n", cut, rounds);
}

}  // namespace
}  // namespace kelo::devservice
