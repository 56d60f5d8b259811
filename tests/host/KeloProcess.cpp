// Spawning, pipes, and the test's folder.
#include "KeloProcess.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace kelo::host::testing {
namespace {

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

bool MayContain() {
  static const bool may = std::system("/usr/bin/unshare -r -p -f true 2>/dev/null") == 0;
  return may;
}

std::string ReadAll(int descriptor) {
  std::string all;
  char block[4096];
  for (ssize_t size; (size = ::read(descriptor, block, sizeof block)) > 0;)
    all.append(block, static_cast<std::size_t>(size));
  return all;
}

}  // namespace

Reply Refusal(int number) {
  return {.body = "<a stat=\"fail\" errcode=\"" + std::to_string(number) + "\" errmsg=\"x\"/>"};
}

KeloProcess::KeloProcess(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment, const char* output) {
  int out[2];
  int err[2];
  if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0)
    throw std::runtime_error("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  if (output != nullptr && *output != '\0')
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output, O_WRONLY, 0);
  else if (output != nullptr)
    for (const int closed : {STDIN_FILENO, STDOUT_FILENO})
      posix_spawn_file_actions_addclose(&actions, closed);
  posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  out_ = out[0];
  err_ = err[0];
  Start(arguments, environment, actions, 0);
  ::close(out[1]);
  ::close(err[1]);
}

KeloProcess::KeloProcess(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment, int columns) {
  err_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (err_ < 0 || ::grantpt(err_) != 0 || ::unlockpt(err_) != 0)
    throw std::runtime_error("pseudo-terminal");
  Resize(columns);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // The first terminal that the leader of a session opens controls it.
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, ::ptsname(err_), O_RDWR, 0);
  posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
  Start(arguments, environment, actions, POSIX_SPAWN_SETSID);
}

void KeloProcess::Start(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment,
                        posix_spawn_file_actions_t& actions, short flags) {
  std::vector<std::string> words = {KELO_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  if (!arguments.empty() && arguments.front() == kContained) {
    words.erase(words.begin() + 1);
    if (MayContain())
      words.insert(words.begin(), {"/usr/bin/unshare", "-r", "-p", "-f", "--kill-child"});
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // Whoever runs the tests in the background may ignore it.
  sigset_t taken;
  sigemptyset(&taken);
  sigaddset(&taken, SIGINT);
  posix_spawnattr_setsigdefault(&attributes, &taken);
  posix_spawnattr_setflags(&attributes, static_cast<short>(flags | POSIX_SPAWN_SETSIGDEF));
  const int failed = ::posix_spawn(&process_, words.front().c_str(), &actions, &attributes,
                                   Pointers(words).data(), Pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("cannot start " KELO_PROGRAM);
}

KeloProcess::~KeloProcess() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  if (out_ >= 0) ::close(out_);
  ::close(err_);
}

bool KeloProcess::ReadErrorUntil(const std::string& text, std::size_t from) {
  char block[256];
  while (errorSoFar_.find(text, from) == std::string::npos) {
    const ssize_t size = ::read(err_, block, sizeof block);
    if (size <= 0) return false;
    errorSoFar_.append(block, static_cast<std::size_t>(size));
  }
  return true;
}

void KeloProcess::Signal(int signal) const {
  ::kill(process_, signal);
}

void KeloProcess::Type(const std::string& keys) const {
  if (::write(err_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
    throw std::runtime_error("cannot type");
}

bool KeloProcess::ShowsWhatIsTyped() const {
  termios settings{};
  return ::tcgetattr(err_, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

void KeloProcess::Resize(int columns) const {
  const winsize size{
      .ws_row = 24, .ws_col = static_cast<unsigned short>(columns), .ws_xpixel = 0, .ws_ypixel = 0};
  ::ioctl(err_, TIOCSWINSZ, &size);
}

Outcome KeloProcess::Wait() {
  Outcome outcome;
  std::thread errors([&] { outcome.err = errorSoFar_ + ReadAll(err_); });
  if (out_ >= 0) outcome.out = ReadAll(out_);
  errors.join();
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

std::vector<std::string> HostTest::EnvironmentOf(const devservice::Service& service) const {
  std::vector<std::string> environment = {"HOME=" + (folder_ / "home").string(),
                                          "PATH=/usr/bin:/bin",
                                          "LC_ALL=C.UTF-8",
                                          "KELO_KEY=" + service.ApiKey(),
                                          "KELO_TOKEN=" + service.AuthToken(),
                                          "KELO_SECRET=" + service.Secret(),
                                          "KELO_URL=" + service.Url()};
  // Reports of the sanitizers must not get lost in the program's own exit code.
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"})
    if (const char* value = std::getenv(name))
      environment.push_back(std::string(name) + "=" + value);
  return environment;
}

std::vector<std::string> HostTest::EnvironmentWithout(const std::string& beginning) const {
  std::vector<std::string> environment = Environment();
  std::erase_if(environment, [&](const auto& text) { return text.starts_with(beginning); });
  return environment;
}

void HostTest::TellAccount(const std::string& elements, const devservice::Script& other) {
  service_.SetScript([=](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.apiMethod == "GetHierarchy") return Reply{.body = "<a stat=\"ok\"/>" + elements};
    return other ? other(request) : std::nullopt;
  });
}

std::vector<nlohmann::json> HostTest::Objects(const std::string& lines) {
  std::vector<nlohmann::json> objects;
  std::istringstream text(lines);
  for (std::string line; std::getline(text, line);) objects.push_back(nlohmann::json::parse(line));
  return objects;
}

Outcome HostTest::Kelo(const std::vector<std::string>& arguments) const {
  Outcome outcome = KeloProcess(arguments, Environment()).Wait();
  service_.RequestCount();  // the end of a process orders nothing: what scripts did comes before
  return outcome;
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
