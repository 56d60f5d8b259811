// What the benchmarks of this folder measure with.
#pragma once

#include <time.h>

#include <algorithm>
#include <vector>

namespace kelo::bench {

// Seconds of processor time that `work` takes on this thread: nothing measured here waits, and so
// other programs of a busy machine disturb the ratios less.
template <typename Work>
double Seconds(Work work) {
  timespec start{};
  timespec end{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
  work();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
  return static_cast<double>(end.tv_sec - start.tv_sec) +
         static_cast<double>(end.tv_nsec - start.tv_nsec) * 1e-9;
}

inline double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace kelo::bench
