// Receives the library's trace through a pipe, reads its lines, and passes them on to whoever wants
// to see them.
#include "host/library/Requests.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "KELOAccess.hpp"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

constexpr const char* kVariable = "KELO_TRACE";

template <typename Number>
void ReadNumber(std::string_view text, Number& number) {
  std::from_chars(text.data(), text.data() + text.size(), number);
}

// Takes the next word off the line; blanks within quotes are part of it.
std::string_view TakeWord(std::string_view& line) {
  size_t end = 0;
  for (bool quoted = false; end < line.size() && (quoted || line[end] != ' '); ++end)
    if (line[end] == '"') quoted = !quoted;
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

}  // namespace

TraceLine ReadTraceLine(std::string_view line) {
  TraceLine request;
  while (!line.empty()) {
    const std::string_view word = TakeWord(line);
    const size_t equals = word.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = word.substr(0, equals);
    const std::string_view value = word.substr(equals + 1);
    if (name == "result") ReadNumber(value, request.result);
    if (name == "out") ReadNumber(value, request.sent);
    if (name == "http") ReadNumber(value, request.status);
    if (name == "errcode") ReadNumber(value, request.errcode);
    if (name == "cause") request.cause = value;
    if (name == "proxy") request.isProxied = value == "used";
  }
  return request;
}

Requests::Requests(Output& out, bool verbose) : out_(out), verbose_(verbose) {
  const char* wanted = std::getenv(kVariable);
  if (wanted != nullptr && std::string_view(wanted) == "-")
    verbose_ = true;
  else if (wanted != nullptr)
    file_ = wanted;
  int ends[2];
  // Linux's: pipe2.
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
    throw Failure(
        fmt::format("cannot make a pipe for the library's trace: {}", std::strerror(errno)));
  readEnd_ = ends[0];
  writeEnd_ = ends[1];
  ::setenv(kVariable, fmt::format("/dev/fd/{}", writeEnd_).c_str(), 1);
  watcher_ = std::thread([this] { Watch(); });
}

Requests::~Requests() {
  ::close(writeEnd_);  // which ends the thread
  watcher_.join();
  ::close(readEnd_);
}

std::vector<TraceLine> Requests::Take() {
  const std::lock_guard lock(mutex_);
  Drain();
  return std::exchange(ended_, {});
}

void Requests::Watch() {
  pollfd input{.fd = readEnd_, .events = POLLIN, .revents = 0};
  do {
    if (::poll(&input, 1, -1) < 0 && errno != EINTR) return;
    const std::lock_guard lock(mutex_);
    Drain();
  } while ((input.revents & POLLHUP) == 0);
}

void Requests::Drain() {
  char block[4096];
  for (ssize_t size; (size = ::read(readEnd_, block, sizeof block)) > 0;)
    unfinished_.append(block, static_cast<size_t>(size));
  size_t begin = 0;
  for (size_t end; (end = unfinished_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const std::string_view line = std::string_view(unfinished_).substr(begin, end - begin);
    Pass(line);
    ended_.push_back(ReadTraceLine(line));
    heard_ = true;
  }
  unfinished_.erase(0, begin);
}

void Requests::Pass(std::string_view line) const {
  const std::string shown = Shown(Decoded(line));
  if (verbose_) out_.Trace(shown);
  out_.Log(shown);
  if (file_.empty()) return;
  const int file =
      ::open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file < 0) return;
  const std::string whole = fmt::format("{}\n", line);  // in one piece: others append too
  static_cast<void>(!::write(file, whole.data(), whole.size()));
  ::close(file);
}

}  // namespace kelo::host
