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

constexpr auto kRedraw = std::chrono::milliseconds(100);
constexpr auto kPlainPause = seconds(1);
constexpr auto kSpeedSpan = seconds(5);   // over which the speed is measured
constexpr auto kStandstill = seconds(3);  // so long without a byte is told
constexpr auto kFirstForecast = seconds(2);
constexpr size_t kShortestName = 8;  // columns; without so many the name is left out
constexpr std::string_view kBetween = "  ";

double SecondsOf(std::chrono::steady_clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

std::string SpanText(std::chrono::steady_clock::duration span) {
  return DurationText(std::chrono::round<seconds>(span));
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

// ---- Counting ----

Progress::Part::Part(Progress& whole) : whole_(whole) {
  const std::lock_guard lock(whole_.mutex_);
  whole_.parts_.push_back(this);
}

Progress::Part::~Part() {
  const std::lock_guard lock(whole_.mutex_);
  std::erase(whole_.parts_, this);
}

void Progress::Part::Clear() {
  names_.clear();
  sizes_.clear();
  last_.reset();
  moved_ = 0;
}

void Progress::Part::Begin(std::vector<std::string> names, std::vector<std::uint64_t> sizes) {
  const std::lock_guard lock(whole_.mutex_);
  Clear();
  names_ = std::move(names);
  sizes_ = std::move(sizes);
  sizes_.resize(names_.size());
}

void Progress::Part::Over(std::uint64_t files, std::uint64_t bytes) {
  const std::lock_guard lock(whole_.mutex_);
  whole_.filesOver_ += files;
  // Sizes of downloads are not known ahead; what has arrived counts.
  whole_.bytesOver_ += whole_.job_.bytes == 0 ? moved_ : bytes;
  Clear();
}

void Progress::Part::operator()(const kelo::Progress& progress) {
  const std::lock_guard lock(whole_.mutex_);
  last_ = progress;
  // The last event of a download comes when its file has been counted already.
  if (progress.isUpload || progress.filesDone < progress.files) {
    whole_.Moved(progress.done - std::min<std::uint64_t>(progress.done, moved_));
    moved_ = progress.done;
  }
  if (!whole_.live_ && whole_.out_.ShowsProgress()) whole_.PrintPlain();
}

void Progress::Moved(std::uint64_t bytes) {
  const auto now = Clock::now();
  moved_ += bytes;
  if (bytes > 0) lastMove_ = now;
  if (!samples_.empty() && now - samples_.back().at < kRedraw) {
    samples_.back().moved = moved_;
    return;
  }
  samples_.push_back({now, moved_});
  while (samples_.size() > 2 && now - samples_[1].at > kSpeedSpan) samples_.pop_front();
}

double Progress::BytesPerSecond() const {
  const auto now = Clock::now();
  const auto first = std::ranges::find_if(
      samples_, [now](const Sample& sample) { return now - sample.at <= kSpeedSpan; });
  if (first == samples_.end()) return 0;
  const double span = SecondsOf(now - first->at);
  return span < SecondsOf(kRedraw) ? 0 : static_cast<double>(moved_ - first->moved) / span;
}

// With the check, the files that are stored already are never sent, and nobody tells which they are
// before it is answered. Nor is a file over before that, though its bytes have left.
Progress::Reached Progress::Part::NowSending() const {
  const std::uint64_t all = std::accumulate(sizes_.begin(), sizes_.end(), std::uint64_t{0});
  const std::uint64_t left = last_->total - std::min(last_->total, last_->done);
  const size_t spared = names_.size() - std::min<size_t>(last_->files, names_.size());
  Reached state{.files = spared + last_->filesDone, .bytes = all - std::min(all, left)};
  if (spared > 0 || last_->filesDone > 0 || names_.empty()) return state;
  size_t at = 0;
  for (std::uint64_t end = 0; at + 1 < names_.size(); ++at)
    if ((end += sizes_[at]) > last_->done) break;
  return {.files = at, .bytes = state.bytes, .name = names_[at]};
}

Progress::Reached Progress::Part::Now() const {
  if (!last_) return {};
  if (last_->isUpload) return NowSending();
  const size_t at = last_->filesDone;
  return {.files = at, .bytes = moved_, .name = at < names_.size() ? names_[at] : std::string()};
}

Progress::Reached Progress::Now() const {
  Reached state{.files = filesOver_, .bytes = bytesOver_};
  for (const Part* part : parts_) {
    Reached reached = part->Now();
    state.files += reached.files;
    state.bytes += reached.bytes;
    if (state.name.empty()) state.name = std::move(reached.name);
  }
  state.files = std::min(state.files, std::max(job_.files, filesOver_));
  return state;
}

// Of downloads, what is known by now: the files that are over, and the lengths that were announced.
// The others are taken to be like these.
std::uint64_t Progress::ExpectedBytes() const {
  if (job_.bytes > 0) return job_.bytes;
  std::uint64_t files = filesOver_;
  std::uint64_t bytes = bytesOver_;
  for (const Part* part : parts_) {
    if (!part->last_ || part->last_->total == 0) continue;
    ++files;
    bytes += part->last_->total;
  }
  return files == 0 ? 0 : bytes / files * job_.files;
}

// ---- Drawing ----

std::vector<std::string> Progress::Parts(const Reached& state) const {
  std::vector<std::string> parts = {
      fmt::format("{} {}/{}", job_.doing, state.files, job_.files),
      job_.bytes == 0 ? ByteText(state.bytes)
                      : fmt::format("{} of {}", ByteText(state.bytes), ByteText(job_.bytes))};
  const auto now = Clock::now();
  if (now - lastMove_ >= kStandstill) {
    const auto since = out_.OutageSince();
    parts.push_back(since
                        ? fmt::format("no connection for {}, trying again", SpanText(now - *since))
                        : "nothing moves for " + SpanText(now - lastMove_));
    return parts;
  }
  const double speed = BytesPerSecond();
  if (speed < 1) return parts;
  parts.push_back(ByteText(static_cast<std::uint64_t>(speed)) + "/s");
  const std::uint64_t all = ExpectedBytes();
  if (now - begin_ < kFirstForecast || all == 0) return parts;
  const auto left = static_cast<double>(all - std::min(all, state.bytes));
  parts.push_back(DurationText(seconds(static_cast<std::int64_t>(left / speed + 0.5))) + " left");
  return parts;
}

std::string Progress::Line(size_t columns) const {
  const Reached state = Now();
  std::vector<std::string> parts = Parts(state);
  if (parts.front().size() > columns) parts.front().erase(0, job_.doing.size() + 1);
  return Joined(parts, state.name, columns);
}

void Progress::PrintPlain() {
  const auto now = Clock::now();
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
