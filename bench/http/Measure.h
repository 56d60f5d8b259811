// Times, memory and a scratch folder for the transport benchmarks.
#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace kelo::bench {

// Wall-clock seconds: a transfer is also its waiting.
template <typename Work>
double WallSeconds(Work work) {
  const auto begun = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
}

inline double MiddleOf(std::vector<double> values) {
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

// Runs both in turn, so that both see the same machine, and reports the middle times and their
// ratio. The time shown for the benchmark is ours.
template <typename Ours, typename Yardstick>
void Compare(benchmark::State& state, Ours ours, Yardstick yardstick) {
  std::vector<double> mine;
  std::vector<double> bare;
  for (auto _ : state) {
    const bool oursFirst = mine.size() % 2 == 0;
    if (!oursFirst) bare.push_back(WallSeconds(yardstick));
    mine.push_back(WallSeconds(ours));
    if (oursFirst) bare.push_back(WallSeconds(yardstick));
    state.SetIterationTime(mine.back());
  }
  state.counters["yardstick_ms"] = MiddleOf(bare) * 1000;
  state.counters["ours_ms"] = MiddleOf(mine) * 1000;
  state.counters["ratio"] = MiddleOf(mine) / MiddleOf(bare);
}

class Scratch {
 public:
  Scratch() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kelo-bench-XXXXXX").string();
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
