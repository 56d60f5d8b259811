// What the benchmarks measure with, and the counters that tell it. A counter NAME must not exceed
// the counter NAME_bound beside it: `scripts/bench --check` compares the two.
#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

namespace kelo::bench {

// What a run takes, or a small one (KELO_BENCH_SMALL is set), which shows only that it works.
template <typename Number>
Number Sized(Number full, Number small) {
  return getenv("KELO_BENCH_SMALL") == nullptr ? full : small;
}

// A transfer is also its waiting. What never waits is measured in processor time of its thread:
// other programs of a busy machine disturb that less.
constexpr clockid_t kWallTime = CLOCK_MONOTONIC;
constexpr clockid_t kProcessorTime = CLOCK_THREAD_CPUTIME_ID;

template <typename Work>
double Seconds(clockid_t clock, Work work) {
  timespec start{};
  timespec end{};
  clock_gettime(clock, &start);
  work();
  clock_gettime(clock, &end);
  return static_cast<double>(end.tv_sec - start.tv_sec) +
         static_cast<double>(end.tv_nsec - start.tv_nsec) * 1e-9;
}

// Not a number where there is none: the benchmark was skipped.
inline double MiddleOf(std::vector<double> values) {
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// A line of /proc/self/status in MiB.
inline double StatusMiB(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(name)) return std::stod(line.substr(name.size())) / 1024;
  return 0;
}

// By how many MiB the resident memory grows at most while `work` runs.
template <typename Work>
double ResidentGrowthMiB(Work work) {
  std::ofstream("/proc/self/clear_refs") << "5";  // the peak begins anew
  const double before = StatusMiB("VmRSS:");
  work();
  return std::max(0.0, StatusMiB("VmHWM:") - before);
}

inline void TellBounded(benchmark::State& state, const std::string& name, double value,
                        double bound) {
  state.counters[name] = value;
  state.counters[name + "_bound"] = bound;
}

// The middle times and their ratio.
inline void TellRatio(benchmark::State& state, const std::vector<double>& ours,
                      const std::vector<double>& yardstick, double bound) {
  state.counters["yardstick_ms"] = MiddleOf(yardstick) * 1000;
  state.counters["ours_ms"] = MiddleOf(ours) * 1000;
  TellBounded(state, "ratio", MiddleOf(ours) / MiddleOf(yardstick), bound);
}

// Runs both in turn, so that both see the same machine. The time shown for the benchmark is ours.
template <typename Ours, typename Yardstick>
void Compare(benchmark::State& state, double bound, Ours ours, Yardstick yardstick,
             clockid_t clock = kWallTime) {
  std::vector<double> mine;
  std::vector<double> bare;
  for (auto _ : state) {
    const bool oursFirst = mine.size() % 2 == 0;
    if (!oursFirst) bare.push_back(Seconds(clock, yardstick));
    mine.push_back(Seconds(clock, ours));
    if (oursFirst) bare.push_back(Seconds(clock, yardstick));
    state.SetIterationTime(mine.back());
  }
  TellRatio(state, mine, bare, bound);
}

// The work so many times: where a single round is too short to compare.
template <typename Work>
auto InRow(int rounds, Work work) {
  return [rounds, work] {
    for (int i = 0; i < rounds; ++i) work();
  };
}

// A disk's file system takes longer to find room for many new files, of which as many have just
// gone, than the clients that are compared take together.
inline void KeepInMemory() {
  if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
}

class Scratch {
 public:
  explicit Scratch(const std::filesystem::path& where = std::filesystem::temp_directory_path()) {
    std::string pattern = (where / "kelo-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  std::string File(const std::string& name, std::size_t size) const {
    std::ofstream file(path_ / name, std::ios::binary);
    const std::string chunk(1 << 16, 'k');
    for (std::size_t left = size; left > 0; left -= std::min(left, chunk.size()))
      file.write(chunk.data(), static_cast<std::streamsize>(std::min(left, chunk.size())));
    return *this / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace kelo::bench
