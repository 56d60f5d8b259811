// Shows running transfers on standard error: one line for all. On a terminal it is drawn over and
// over. Elsewhere plain lines come where --progress asks for them, one a second at most and the
// first after one. A quiet run shows nothing. One object serves a whole run, with a part for each
// transfer that goes on at a time:
//
//   Progress progress(out, {.doing = "sending", .files = 236, .bytes = 1'200'000'000});
//   Progress::Part part(progress);
//   part.Over(3, 4000);                  // left out before: no transfer of theirs will come
//   part.Begin(names, sizes);            // what the next command transfers
//   library.Upload(..., std::ref(part));
//   part.Over(names.size(), allOfThem);  // whatever became of them
//
// What begins anew (a retry, a smaller request) counts from its begin. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "KELOAccess.hpp"
#include "host/terminal/Output.h"

namespace kelo::host {

// What a whole run is to do.
struct Job {
  std::string doing = "sending";  // or "fetching"
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;  // 0: not known, as of downloads
};

class Progress {
 public:
  class Part;

  Progress(Output& out, Job job);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  struct Sample {
    Clock::time_point at;
    std::uint64_t moved;
  };
  // How far the run is, by the last events.
  struct Reached {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    std::string name{};  // of a file that moves now; empty where that is not known
  };

  void Tick();
  // The lock is held in all below.
  void Moved(std::uint64_t bytes);
  void PrintPlain();
  Reached Now() const;
  std::uint64_t ExpectedBytes() const;
  std::vector<std::string> Parts(const Reached& state) const;
  std::string Line(size_t columns) const;
  double BytesPerSecond() const;

  Output& out_;
  const Job job_;
  const bool live_;
  const Clock::time_point begin_ = Clock::now();

  std::mutex mutex_;
  std::condition_variable wake_;
  bool ending_ = false;
  std::vector<const Part*> parts_;
  std::uint64_t filesOver_ = 0;
  std::uint64_t bytesOver_ = 0;
  std::uint64_t moved_ = 0;     // bytes transferred in the run
  std::deque<Sample> samples_;  // of the last seconds, and one before
  Clock::time_point lastMove_ = begin_;
  Clock::time_point nextPlain_;
  std::thread ticker_;
};

// One of the transfers that go on at the same time. The whole must outlive it.
class Progress::Part {
 public:
  explicit Part(Progress& whole);
  ~Part();
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;

  // What the next library command transfers, in its order. Names are fit for a terminal already;
  // `sizes` in bytes, empty where not known. What an earlier one has moved and was not counted by
  // Over is not counted.
  void Begin(std::vector<std::string> names, std::vector<std::uint64_t> sizes = {});
  // So many files and bytes of the run are over. Ends what has begun.
  void Over(std::uint64_t files, std::uint64_t bytes = 0);

  // What the library tells of the command. A download is of one file.
  void operator()(const kelo::Progress& progress);

 private:
  friend class Progress;
  void Clear();
  Reached Now() const;
  Reached NowSending() const;

  Progress& whole_;
  std::vector<std::string> names_;
  std::vector<std::uint64_t> sizes_;
  std::optional<kelo::Progress> last_;  // nothing: none reported yet
  std::uint64_t moved_ = 0;             // bytes since Begin
};

}  // namespace kelo::host
