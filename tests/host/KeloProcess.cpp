// Spawning, pipes, and the test's folder.
#include "KeloProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace kelo::host::testing {
namespace {

namespace fs = std::filesystem;

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

std::string ReadAll(int descriptor) {
  std::string all;
  char block[4096];
  for (ssize_t size; (size = ::read(descriptor, block, sizeof block)) > 0;)
    all.append(block, static_cast<std::size_t>(size));
  return all;
}

}  // namespace

KeloProcess::KeloProcess(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment) {
  int out[2];
  int err[2];
  if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0)
    throw std::runtime_error("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  std::vector<std::string> words = {KELO_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const int failed = ::posix_spawn(&process_, KELO_PROGRAM, &actions, nullptr,
                                   Pointers(words).data(), Pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  ::close(err[1]);
  out_ = out[0];
  err_ = err[0];
  if (failed != 0) throw std::runtime_error("cannot start " KELO_PROGRAM);
}

KeloProcess::~KeloProcess() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  ::close(out_);
  ::close(err_);
}

bool KeloProcess::ReadErrorUntil(const std::string& text) {
  char block[256];
  while (errorSoFar_.find(text) == std::string::npos) {
    const ssize_t size = ::read(err_, block, sizeof block);
    if (size <= 0) return false;
    errorSoFar_.append(block, static_cast<std::size_t>(size));
  }
  return true;
}

void KeloProcess::Signal(int signal) const {
  ::kill(process_, signal);
}

Outcome KeloProcess::Wait() {
  Outcome outcome;
  std::thread errors([&] { outcome.err = errorSoFar_ + ReadAll(err_); });
  outcome.out = ReadAll(out_);
  errors.join();
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

std::vector<std::string> HostTest::Environment() const {
  std::vector<std::string> environment = {"HOME=" + (folder_ / "home").string(),
                                          "PATH=/usr/bin:/bin",
                                          "LC_ALL=C.UTF-8",
                                          "KELO_KEY=" + service_.ApiKey(),
                                          "KELO_TOKEN=" + service_.AuthToken(),
                                          "KELO_SECRET=" + service_.Secret(),
                                          "KELO_URL=" + service_.Url()};
  // Reports of the sanitizers must not get lost in the program's own exit code.
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"})
    if (const char* value = std::getenv(name))
      environment.push_back(std::string(name) + "=" + value);
  return environment;
}

Outcome HostTest::Kelo(const std::vector<std::string>& arguments) const {
  return KeloProcess(arguments, Environment()).Wait();
}

void HostTest::LogIn() const {
  const Outcome login = Kelo({"login"});
  ASSERT_EQ(login.exitCode, 0) << login.err;
}

std::size_t HostTest::Arrived(const std::string& method) const {
  const auto log = service_.Log();
  return static_cast<std::size_t>(std::count_if(
      log.begin(), log.end(), [&](const auto& request) { return request.apiMethod == method; }));
}

std::vector<std::string> HostTest::Names(const std::string& folder) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder_ / folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace kelo::host::testing
