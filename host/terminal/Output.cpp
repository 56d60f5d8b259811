// Writes lines to the standard streams, and redraws the live line below them.
#include "host/terminal/Output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// The live line ends with the cursor at its begin: a terminal that breaks it anew when it becomes
// narrower then keeps the rest below the cursor, where the next drawing clears it away.
constexpr std::string_view kClear = "\r\x1b[J";

bool IsTerminal(int descriptor) {
  const char* kind = std::getenv("TERM");
  return isatty(descriptor) == 1 && (kind == nullptr || std::string_view(kind) != "dumb");
}

// Standard error has no buffer of ours; what it does not take is lost.
void WriteError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

Output::Output(const char* program)
    : program_(program),
      errorIsTerminal_(IsTerminal(STDERR_FILENO)),
      outputIsTerminal_(isatty(STDOUT_FILENO) == 1) {}

Output::Output(std::function<void(std::string_view)> messages) : messages_(std::move(messages)) {}

void Output::Result(std::string_view line, const Json& object) {
  if (!json_) return Line(line);
  // File names need not be UTF-8.
  PrintResult(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Output::Line(std::string_view line) {
  if (!json_ && !quiet_) PrintResult(line);
}

void Output::Note(std::string_view line) {
  if (!quiet_) PrintMessage(line);
}

void Output::Problem(std::string_view line) {
  PrintMessage(fmt::format("{}: {}", program_, line));
}

void Output::PrintResult(std::string_view line) {
  const std::lock_guard lock(printing_);
  if (outputIsTerminal_) EraseLive();
  // Finish tells of a failure.
  const bool written = std::fwrite(line.data(), 1, line.size(), stdout) == line.size() &&
                       std::fputc('\n', stdout) != EOF && std::fflush(stdout) == 0;
  if (!written && failedWith_ == 0) failedWith_ = errno;
  if (outputIsTerminal_) RedrawLive();
}

void Output::PrintMessage(std::string_view line) {
  if (messages_) return messages_(line);
  const std::lock_guard lock(printing_);
  std::fflush(stdout);  // what was said before comes before
  EraseLive();
  WriteError(fmt::format("{}\n", line));
  RedrawLive();
}

void Output::HoldClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(stream, F_GETFD) < 0) static_cast<void>(::open("/", O_RDONLY));
}

void Output::Finish() {
  const std::lock_guard lock(printing_);
  if (std::fflush(stdout) != 0 && failedWith_ == 0) failedWith_ = errno;
  if (failedWith_ == 0 && std::ferror(stdout) == 0) return;
  // There is no errno where another writer to standard output met the failure.
  throw Failure(
      "cannot write to standard output" +
      (failedWith_ == 0 ? std::string() : fmt::format(": {}", std::strerror(failedWith_))));
}

size_t Output::TerminalColumns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

void Output::ShowLive(std::string line) {
  const std::lock_guard lock(printing_);
  if (line.empty()) EraseLive();
  live_ = std::move(line);
  RedrawLive();
}

void Output::EraseLive() {
  if (!live_.empty()) WriteError(kClear);
}

void Output::RedrawLive() {
  if (live_.empty()) return;
  {
    const std::lock_guard lock(doneLock_);
    if (saidAborted_) return;  // which is the last word
  }
  WriteError(fmt::format("\r{}\x1b[J\r", live_));
}

void Output::SetDone(std::string words) {
  const std::lock_guard lock(doneLock_);
  done_ = std::move(words);
}

void Output::SayAborted() {
  const std::lock_guard lock(doneLock_);
  if (std::exchange(saidAborted_, true)) return;
  WriteError(fmt::format("{}{}: aborted{}{}\n", CanShowLive() ? kClear : "", program_,
                         done_.empty() ? "" : ": ", done_));
}

}  // namespace kelo::host
