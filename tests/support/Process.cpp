// Starts a program with pipes or on a pseudo-terminal, and collects what it writes.
#include "support/Process.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <thread>

namespace kelo {
namespace {

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

winsize SizeOf(int columns) {
  return {
      .ws_row = 24, .ws_col = static_cast<unsigned short>(columns), .ws_xpixel = 0, .ws_ypixel = 0};
}

// In the child.
void UsePipes(int out, int err, const char* output) {
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(output != nullptr && *output != '\0' ? open(output, O_WRONLY) : out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  if (output == nullptr || *output != '\0') return;
  close(STDIN_FILENO);
  close(STDOUT_FILENO);
}

}  // namespace

Process::Process(const std::vector<std::string>& words, const Place& place) {
  const auto arguments = Pointers(words);
  const auto variables = place.environment.value_or(std::vector<std::string>());
  const auto given = Pointers(variables);
  int out[2] = {-1, -1};
  int err[2] = {-1, -1};
  if (place.columns > 0) {
    const winsize size = SizeOf(place.columns);
    process_ = forkpty(&err[0], nullptr, nullptr, &size);
  } else {
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    process_ = fork();
  }
  if (process_ < 0) throw std::runtime_error("cannot fork");
  if (process_ == 0) {
    if (place.columns == 0) UsePipes(out[1], err[1], place.output);
    signal(SIGINT, SIG_DFL);  // whoever runs the tests in the background may ignore it
    execve(arguments[0], arguments.data(), place.environment ? given.data() : environ);
    _exit(127);
  }
  out_.end = out[0];
  err_.end = err[0];
  if (place.columns > 0) fcntl(err_.end, F_SETFD, FD_CLOEXEC);
  for (const int end : {out[1], err[1]})
    if (end >= 0) close(end);
}

Process::~Process() {
  Signal(SIGKILL);
  if (process_ > 0) waitpid(process_, nullptr, 0);
  if (out_.end >= 0) close(out_.end);
  close(err_.end);
}

bool Process::Read(Stream& stream, const std::string& text, size_t from) {
  char block[4096];
  while (text.empty() || stream.text.find(text, from) == std::string::npos) {
    const ssize_t size = stream.end >= 0 ? read(stream.end, block, sizeof block) : 0;
    if (size <= 0) return false;
    stream.text.append(block, static_cast<size_t>(size));
  }
  return true;
}

void Process::Signal(int signal) const {
  if (process_ > 0) kill(process_, signal);
}

void Process::Type(const std::string& keys) const {
  if (write(err_.end, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
    throw std::runtime_error("cannot type");
}

bool Process::ShowsWhatIsTyped() const {
  termios settings{};
  return tcgetattr(err_.end, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

void Process::Resize(int columns) const {
  const winsize size = SizeOf(columns);
  ioctl(err_.end, TIOCSWINSZ, &size);
}

Outcome Process::Wait() {
  if (process_ <= 0) return {};
  std::thread errors([&] { Read(err_, "", 0); });
  Read(out_, "", 0);
  errors.join();
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out_.text, err_.text};
}

}  // namespace kelo
