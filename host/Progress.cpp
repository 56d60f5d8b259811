// The progress line and the thread that redraws it.
#include "Progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "Names.h"

namespace kelo::host {
namespace {

// The library's callback carries no pointer of the host's.
std::atomic<Progress*> current = nullptr;

constexpr auto kRedraw = std::chrono::milliseconds(100);
constexpr std::size_t kBarWidth = 24;

bool IsTerminal() {
  const char* kind = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && (kind == nullptr || std::string_view(kind) != "dumb");
}

std::size_t Columns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 20) return 80;
  return size.ws_col;
}

std::string Bar(std::uint32_t done, std::uint32_t total) {
  const double part = total == 0 ? 0 : std::min(1.0, static_cast<double>(done) / total);
  const auto filled = static_cast<std::size_t>(part * kBarWidth);
  return fmt::format("[{:#<{}}{:.<{}}] {:3.0f}%", "", filled, "", kBarWidth - filled, part * 100);
}

// Cut at the terminal's width, never inside a character. Wide characters may still wrap; the line
// is then only less pretty.
std::string Cut(std::string line, std::size_t columns) {
  std::size_t shown = 0;
  for (std::size_t at = 0; at < line.size(); ++at) {
    const bool begins = (static_cast<unsigned char>(line[at]) & 0xC0u) != 0x80u;
    if (begins && shown++ == columns) return line.substr(0, at);
  }
  return line;
}

}  // namespace

Progress::Progress(Library& library, std::vector<std::string> names, std::string beginning)
    : library_(library),
      names_(std::move(names)),
      beginning_(std::move(beginning)),
      terminal_(IsTerminal()),
      begin_(std::chrono::steady_clock::now()) {
  std::fflush(stdout);  // what was said before comes before
  current = this;
  library_.RegisterProgress(&Progress::OnEvent);
  if (terminal_) ticker_ = std::thread([this] { Tick(); });
}

Progress::~Progress() {
  library_.UnregisterProgress();
  current = nullptr;
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  if (!ticker_.joinable()) return;
  ticker_.join();
  fmt::print(stderr, "\r\x1b[K");
}

void Progress::SetListener(
    std::function<void(std::uint32_t, const tagKELO_ProgressInfo&)> listener) {
  listener_ = std::move(listener);
}

std::uint32_t Progress::OnEvent(std::uint32_t event, std::uint32_t kind,
                                const tagKELO_ProgressInfo* progress) {
  Progress* self = current;
  if (self != nullptr && progress != nullptr && kind == kKELOEventKind_Progress)
    self->Take(event, *progress);
  return 0;
}

void Progress::Take(std::uint32_t event, const tagKELO_ProgressInfo& progress) {
  {
    const std::lock_guard lock(mutex_);
    event_ = event;
    state_ = progress;
    if (!terminal_) PrintPlain();
  }
  if (listener_) listener_(event, progress);
}

void Progress::PrintPlain() {
  if (event_ == kKELOEvent_UploadProgress) {
    if (plainFile_ == 0) return;
    plainFile_ = 0;
    fmt::print(stderr, "sending {}, {}\n", CountText(state_.itemCount, "file"),
               ByteText(state_.transferTotal));
  } else if (state_.fourthWord != plainFile_ && state_.fourthWord < names_.size()) {
    plainFile_ = state_.fourthWord;
    fmt::print(stderr, "fetching {} of {}: {}, {}\n", plainFile_ + 1, state_.itemCount,
               names_[plainFile_], ByteText(state_.transferTotal));
  }
}

void Progress::Tick() {
  std::unique_lock lock(mutex_);
  while (!ending_) {
    Draw();
    wake_.wait_for(lock, kRedraw, [this] { return ending_; });
  }
}

void Progress::Draw() {
  const std::size_t columns = Columns() - 1;
  fmt::print(stderr, "\r{}\x1b[K", Cut(Line(), columns));
  std::fflush(stderr);
}

std::string Progress::Line() const {
  const auto elapsed = std::chrono::steady_clock::now() - begin_;
  const auto frame = static_cast<std::size_t>(elapsed / kRedraw) % 4;
  const char spinner = "|/-\\"[frame];
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  if (event_ == kKELOEvent_UploadProgress) {
    return fmt::format("{} sending {}, {} ... {} s", spinner, CountText(state_.itemCount, "file"),
                       ByteText(state_.transferTotal), seconds);
  }
  if (event_ == kKELOEvent_DownloadProgress) {
    const std::size_t file = std::min<std::size_t>(state_.fourthWord, names_.size() - 1);
    return fmt::format("{} {}/{} {}  {}", Bar(state_.transferDone, state_.transferTotal), file + 1,
                       names_.size(), ByteText(state_.transferDone), names_[file]);
  }
  return fmt::format("{} {} ... {} s", spinner, beginning_, seconds);
}

}  // namespace kelo::host
