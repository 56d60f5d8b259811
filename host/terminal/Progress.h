// Shows a running transfer on standard error: a line that lives on a terminal; plain lines
// elsewhere, at most one a second, the first after one second; nothing in a quiet run. One object
// for a whole run, which may take many library commands:
//
//   Progress progress(out, {.doing = "sending", .files = 236, .bytes = 1'200'000'000});
//   progress.Over(3, 4000);                  // left out before: no transfer of theirs will come
//   progress.Begin(names, sizes);            // what the next command transfers
//   library.Upload(..., std::ref(progress));
//   progress.Over(names.size(), allOfThem);  // whatever became of them
//
// A request that begins anew (a retry, a smaller one) counts from its begin.
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
  Progress(Output& out, Job job);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // What the next library command transfers, in its order. Names are fit for a terminal already;
  // `sizes` in bytes, empty where not known. What an earlier one has moved and was not counted by
  // Over is not counted.
  void Begin(std::vector<std::string> names, std::vector<std::uint64_t> sizes = {});
  // So many files and bytes of the run are over. Ends what has begun.
  void Over(std::uint64_t files, std::uint64_t bytes = 0);

  // What the library tells of the command. A download is of one file.
  void operator()(const kelo::Progress& progress);

 private:
  struct Sample {
    std::chrono::steady_clock::time_point at;
    std::uint64_t moved;
  };
  // How far the run is, by the last event.
  struct Reached {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    std::string name;  // of the file that moves now; empty where that is not known
  };

  void Tick();
  // The lock is held in all below.
  void Move(std::uint64_t sinceBegin);
  void PrintPlain();
  Reached Now() const;
  Reached NowSending() const;
  Reached NowFetching() const;
  std::vector<std::string> Parts(const Reached& state) const;
  std::string Line(size_t columns) const;
  double BytesPerSecond() const;
  std::string TimeLeft(const Reached& state) const;

  Output& out_;
  const Job job_;
  const bool live_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();

  std::mutex mutex_;
  std::condition_variable wake_;
  bool ending_ = false;
  std::uint64_t filesOver_ = 0;
  std::uint64_t bytesOver_ = 0;
  std::vector<std::string> names_;  // of what has begun
  std::vector<std::uint64_t> sizes_;
  std::optional<kelo::Progress> last_;  // nothing: none reported yet of what has begun
  std::uint64_t moved_ = 0;             // bytes transferred in the run
  std::uint64_t movedSinceBegin_ = 0;
  std::deque<Sample> samples_;  // of the last seconds
  std::chrono::steady_clock::time_point nextPlain_;
  std::thread ticker_;
};

}  // namespace kelo::host
