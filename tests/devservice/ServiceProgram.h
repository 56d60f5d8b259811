// kelo-devservice in processes of its own: runs to the end, and a service that goes on.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "devservice/Client.h"
#include "devservice/DevService.h"
#include "devservice/files/Descriptor.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {

struct Ended {
  int exitCode = -1;  // 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

// One process.
class ServiceProcess {
 public:
  // `terminal` is where its messages go, if not into a file.
  explicit ServiceProcess(const std::vector<std::string>& arguments,
                          const std::string& terminal = {}) {
    std::vector<char*> words{const_cast<char*>(KELO_DEVSERVICE)};
    for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    out_ = Descriptor(ends[0]);
    const Descriptor written(ends[1]);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, written.Get(), STDOUT_FILENO);
    const std::string messages = terminal.empty() ? output_.Path("err") : terminal;
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, messages.c_str(),
                                     O_WRONLY | O_CREAT | O_NOCTTY, 0600);
    const int code =
        posix_spawn(&process_, KELO_DEVSERVICE, &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (code != 0) throw std::runtime_error("cannot run " KELO_DEVSERVICE);
  }
  ~ServiceProcess() { End(SIGKILL); }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  // Waits until it has told how to reach it, and reads that; false where it ended before.
  bool IsServing() {
    if (!ReadUntil("kKELO_URLofKELOServer = ")) return false;
    const auto value = [&](const std::string& name) {
      const std::string rest = Between(said_, name, "\n").at(0);
      return rest.substr(rest.find_first_not_of(' '));
    };
    url = value("URL ");
    page = value("page ");
    key = value("key ");
    account = {"", value("token "), value("secret ")};
    return true;
  }
  Ended Wait() {
    int status = 0;
    if (process_ <= 0) return {};
    ReadUntil(kNeverSaid);
    if (waitpid(process_, &status, 0) != process_) return {};
    process_ = -1;
    const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return {code, said_, output_.Read("err")};
  }
  Ended End(int signal) {
    if (process_ > 0) kill(process_, signal);
    return Wait();
  }

  std::string url;
  std::string page;
  std::string key;
  Service::Account account;

 private:
  static constexpr std::string_view kNeverSaid{"\0", 1};

  // Reads what it says; false where it ended without saying this.
  bool ReadUntil(std::string_view text) {
    while (said_.find(text) == std::string::npos) {
      char bytes[4096];
      const ssize_t size = read(out_.Get(), bytes, sizeof bytes);
      if (size <= 0) return false;
      said_.append(bytes, static_cast<std::size_t>(size));
    }
    return true;
  }

  const TemporaryFolder output_;
  Descriptor out_;
  std::string said_;
  pid_t process_ = -1;
};

}  // namespace kelo::devservice
