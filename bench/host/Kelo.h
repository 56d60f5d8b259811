// Runs the program against a service of this process, and tells what it took. Makes the pictures
// that it works with.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Measure.h"
#include "devservice/DevService.h"

namespace kelo::bench {

// Of any size: what follows a picture does not matter.
inline void MakePicture(const std::string& path, std::uint64_t size) {
  std::filesystem::copy_file(KELO_SAMPLE, path);
  std::filesystem::resize_file(path, size);
}

class Kelo {
 public:
  // Logged in, in a home of its own. `proxy`: what leads to the service; empty: nothing does.
  explicit Kelo(const devservice::Service& service, const std::string& proxy = {})
      : environment_{"HOME=" + (home_ / ""), "KELO_URL=" + service.Url(),
                     "KELO_KEY=" + service.ApiKey(), "KELO_TOKEN=" + service.AuthToken(),
                     "KELO_SECRET=" + service.Secret()} {
    if (!proxy.empty()) environment_.push_back("http_proxy=" + proxy);
    Run({"login"});
  }

  // Seconds of processor time; negative when it failed. Its output is thrown away. `watch` is
  // called while it runs, each 20 ms.
  double Run(std::vector<std::string> words, const std::function<void(pid_t)>& watch = {}) {
    words.insert(words.begin(), KELO_PROGRAM);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int descriptor : {0, 1, 2})
      posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
    pid_t process = -1;
    const int failed = posix_spawn(&process, KELO_PROGRAM, &actions, nullptr,
                                   Pointers(words).data(), Pointers(environment_).data());
    posix_spawn_file_actions_destroy(&actions);
    int status = 1;
    rusage used{};
    pid_t ended = 0;
    while (failed == 0 && (ended = wait4(process, &status, watch ? WNOHANG : 0, &used)) == 0) {
      watch(process);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (failed != 0 || ended != process || status != 0) return -1;
    return Seconds(used.ru_utime) + Seconds(used.ru_stime);
  }

 private:
  static double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  }
  static std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  }

  const Scratch home_;
  std::vector<std::string> environment_;
};

}  // namespace kelo::bench
