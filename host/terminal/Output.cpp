// Writes lines to the standard streams, and redraws the live line below them.
#include "host/terminal/Output.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/names/Failure.h"
#include "host/names/Names.h"

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

Output::Output(std::function<void(std::string_view)> messages,
               std::function<void(Since, std::string_view)> outages)
    : messages_(std::move(messages)), outagesTold_(std::move(outages)) {}

Output::~Output() {
  if (log_ >= 0) ::close(log_);
}

void Output::Result(std::string_view line, const Json& object) {
  if (!json_) return Line(line);
  if (const std::string outcome = object.value("outcome", ""); !outcome.empty()) {
    Count(outcome, 1);
    const bool isStored = outcome == "stored" || outcome == "wouldStore";
    if (isStored) Count("bytes", object.value("bytes", std::uint64_t{0}));
  }
  // File names need not be UTF-8.
  PrintResult(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Output::Count(const std::string& what, std::uint64_t number) {
  const std::lock_guard lock(printing_);
  if (summary_.is_null()) return;
  const Json::json_pointer place("/" + what);
  summary_[place] = summary_.value(place, std::uint64_t{0}) + number;
}

void Output::TellSummary(int exitCode) {
  if (!json_ || summary_.is_null()) return;
  summary_["exitCode"] = exitCode;
  Result({}, {{"summary", std::exchange(summary_, {})}});
}

void Output::Line(std::string_view line) {
  if (!json_ && (!quiet_ || keepsResults_)) PrintResult(line);
}

void Output::Note(std::string_view line) {
  LogMessage(line);
  if (!quiet_) PrintMessage(line);
}

void Output::Problem(std::string_view line) {
  const std::string whole = fmt::format("{}: {}", program_, line);
  LogMessage(whole);
  PrintMessage(whole);
}

void Output::LogTo(const std::string& path) {
  logPath_ = path;
  log_ = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_CLOEXEC, 0600);
  if (log_ < 0)
    throw Failure(
        fmt::format("cannot write to the log file {}: {}", Shown(path), std::strerror(errno)));
}

void Output::Log(std::string_view line) const {
  if (log_ < 0) return;
  const std::string whole = fmt::format("{}\n", line);  // in one piece: others append too
  static_cast<void>(!::write(log_, whole.data(), whole.size()));
}

void Output::LogMessage(std::string_view line) const {
  if (log_ < 0) return;
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  Log(fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z {}", fmt::gmtime(seconds),
                  now.time_since_epoch().count() % 1000, line));
}

void Output::SetOutage(const void* who, Since since, std::string_view words) {
  if (outagesTold_) return outagesTold_(since, words);
  std::string note;
  {
    const std::scoped_lock lock(printing_, outageLock_);
    const bool wasNone = outages_.empty();
    if (since)
      outages_[who] = *since;
    else
      outages_.erase(who);
    if (wasNone && since) {
      outageBegan_ = *since;
      outageTold_ = live_.empty();
      if (outageTold_) note = words;
    } else if (!wasNone && outages_.empty() && outageTold_) {
      const auto lasted = std::chrono::round<std::chrono::seconds>(Clock::now() - outageBegan_);
      note = fmt::format("the service answers again, after {}", DurationText(lasted));
    }
  }
  if (!note.empty()) Note(note);
}

void Output::ForgetOutage(const void* who) {
  const std::lock_guard lock(outageLock_);
  outages_.erase(who);
}

Output::Since Output::OutageSince() const {
  const std::lock_guard lock(outageLock_);
  return outages_.empty() ? Since() : outageBegan_;
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
  const std::string words =
      fmt::format("{}: aborted{}{}", program_, done_.empty() ? "" : ": ", done_);
  LogMessage(words);
  WriteError(fmt::format("{}{}\n", CanShowLive() ? kClear : "", words));
}

}  // namespace kelo::host
