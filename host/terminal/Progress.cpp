// Counts what the library tells of a transfer, and draws it from a thread of its own.
#include "host/terminal/Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "host/names/Names.h"
#include "host/terminal/Columns.h"

namespace kelo::host {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr auto kRedraw = std::chrono::milliseconds(100);
constexpr auto kPlainPause = seconds(1);
constexpr auto kSpeedSpan = seconds(10);  // over which the speed is measured
constexpr auto kFirstForecast = seconds(2);
constexpr size_t kShortestName = 8;  // columns; without so many the name is left out
constexpr std::string_view kBetween = "  ";

double SecondsOf(steady_clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

std::string DurationText(double inSeconds) {
  const auto whole = static_cast<std::uint64_t>(inSeconds + 0.5);
  if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
  return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

// As many parts as fit, the first in any case, and the name where it has room.
std::string Joined(const std::vector<std::string>& parts, const std::string& name, size_t columns) {
  std::string line = FitColumns(parts.front(), columns);
  for (size_t at = 1; at < parts.size(); ++at) {
    if (line.size() + kBetween.size() + parts[at].size() > columns) return line;
    line.append(kBetween).append(parts[at]);
  }
  const size_t used = line.size() + kBetween.size();
  if (name.empty() || used + std::min(kShortestName, Columns(name)) > columns) return line;
  return line.append(kBetween).append(FitColumns(name, columns - used));
}

}  // namespace

Progress::Progress(Output& out, Job job)
    : out_(out), job_(std::move(job)), live_(out.CanShowLive()), nextPlain_(begin_ + kPlainPause) {
  if (live_) ticker_ = std::thread([this] { Tick(); });
}

Progress::~Progress() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  if (!ticker_.joinable()) return;
  ticker_.join();
  out_.ShowLive("");
}

void Progress::Begin(std::vector<std::string> names, std::vector<std::uint64_t> sizes) {
  const std::lock_guard lock(mutex_);
  names_ = std::move(names);
  sizes_ = std::move(sizes);
  sizes_.resize(names_.size());
  last_.reset();
  movedSinceBegin_ = 0;
}

void Progress::Over(std::uint64_t files, std::uint64_t bytes) {
  const std::lock_guard lock(mutex_);
  filesOver_ += files;
  // Sizes of downloads are not known ahead; what has arrived counts.
  bytesOver_ += job_.bytes == 0 ? movedSinceBegin_ : bytes;
  names_.clear();
  sizes_.clear();
  last_.reset();
  movedSinceBegin_ = 0;
}

// ---- Counting ----

void Progress::operator()(const kelo::Progress& progress) {
  const std::lock_guard lock(mutex_);
  last_ = progress;
  // The last event of a download comes when its file has been counted already.
  if (progress.isUpload || progress.filesDone < progress.files) Move(progress.done);
  if (!live_) PrintPlain();
}

void Progress::Move(std::uint64_t sinceBegin) {
  if (sinceBegin > movedSinceBegin_) moved_ += sinceBegin - movedSinceBegin_;
  movedSinceBegin_ = sinceBegin;
  const auto now = steady_clock::now();
  if (!samples_.empty() && now - samples_.back().at < kRedraw) {
    samples_.back().moved = moved_;
    return;
  }
  samples_.push_back({now, moved_});
  while (samples_.size() > 2 && now - samples_.front().at > kSpeedSpan) samples_.pop_front();
}

double Progress::BytesPerSecond() const {
  const auto now = steady_clock::now();
  if (samples_.empty()) return 0;
  const double span = SecondsOf(now - samples_.front().at);
  return span < SecondsOf(kRedraw) ? 0
                                   : static_cast<double>(moved_ - samples_.front().moved) / span;
}

// With the check, the request's files that are stored already are never sent, and nobody tells
// which they are before it is answered. Nor is a file over before that, though its bytes have left.
Progress::Reached Progress::NowSending() const {
  const std::uint64_t all = std::accumulate(sizes_.begin(), sizes_.end(), std::uint64_t{0});
  const std::uint64_t left = last_->total - std::min(last_->total, last_->done);
  const size_t spared = names_.size() - std::min<size_t>(last_->files, names_.size());
  Reached state{.files = spared + last_->filesDone, .bytes = all - std::min(all, left), .name = {}};
  if (spared > 0 || last_->filesDone > 0 || names_.empty()) return state;
  size_t at = 0;
  for (std::uint64_t end = 0; at + 1 < names_.size(); ++at)
    if ((end += sizes_[at]) > last_->done) break;
  return {.files = at, .bytes = state.bytes, .name = names_[at]};
}

Progress::Reached Progress::NowFetching() const {
  const size_t at = last_->filesDone;
  return {.files = at,
          .bytes = movedSinceBegin_,
          .name = at < names_.size() ? names_[at] : std::string()};
}

Progress::Reached Progress::Now() const {
  Reached state;
  if (last_) state = last_->isUpload ? NowSending() : NowFetching();
  state.files = std::min(filesOver_ + state.files, std::max(job_.files, filesOver_));
  state.bytes += bytesOver_;
  return state;
}

// ---- Drawing ----

std::string Progress::TimeLeft(const Reached& state) const {
  const double elapsed = SecondsOf(steady_clock::now() - begin_);
  if (elapsed < SecondsOf(kFirstForecast)) return "";
  double left = 0;
  if (job_.bytes > 0) {
    const double speed = BytesPerSecond();
    if (speed <= 0) return "";
    left = static_cast<double>(job_.bytes - std::min(job_.bytes, state.bytes)) / speed;
  } else {
    if (state.files == 0) return "";
    left = elapsed * static_cast<double>(job_.files - std::min(job_.files, state.files)) /
           static_cast<double>(state.files);
  }
  return DurationText(left) + " left";
}

std::vector<std::string> Progress::Parts(const Reached& state) const {
  std::vector<std::string> parts = {
      fmt::format("{} {}/{}", job_.doing, state.files, job_.files),
      job_.bytes == 0 ? ByteText(state.bytes)
                      : fmt::format("{} of {}", ByteText(state.bytes), ByteText(job_.bytes))};
  const double speed = BytesPerSecond();
  if (speed >= 1) parts.push_back(ByteText(static_cast<std::uint64_t>(speed)) + "/s");
  const std::string left = TimeLeft(state);
  if (!left.empty()) parts.push_back(left);
  return parts;
}

std::string Progress::Line(size_t columns) const {
  const Reached state = Now();
  std::vector<std::string> parts = Parts(state);
  if (parts.front().size() > columns) parts.front().erase(0, job_.doing.size() + 1);
  return Joined(parts, state.name, columns);
}

void Progress::PrintPlain() {
  const auto now = steady_clock::now();
  if (now < nextPlain_) return;
  nextPlain_ = now + kPlainPause;
  const Reached state = Now();
  const std::vector<std::string> parts = Parts(state);
  std::string line = parts.front();
  for (size_t at = 1; at < parts.size(); ++at) line.append(", ").append(parts[at]);
  out_.Note(state.name.empty() ? line : line + ": " + state.name);
}

void Progress::Tick() {
  std::unique_lock lock(mutex_);
  while (!ending_) {
    // The last column stays free: a character in it makes some terminals begin a new line.
    const std::string line = Line(std::max<size_t>(Output::TerminalColumns(), 2) - 1);
    lock.unlock();  // the terminal may be held up; the transfer is not
    out_.ShowLive(line);
    lock.lock();
    wake_.wait_for(lock, kRedraw, [this] { return ending_; });
  }
}

}  // namespace kelo::host
