// The most memory that rebuilding the cache takes beyond the answer itself, the cache included.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "catalogue/SampleAccount.h"

namespace {

size_t current = 0;
size_t peak = 0;

void* Count(void* block) {
  if (!block) throw std::bad_alloc();
  // What the allocator took for the block, its own word included.
  current += malloc_usable_size(block) + sizeof(size_t);
  peak = std::max(peak, current);
  return block;
}

void Release(void* block) noexcept {
  if (block) current -= malloc_usable_size(block) + sizeof(size_t);
  std::free(block);
}

}  // namespace

void* operator new(size_t size) {
  return Count(std::malloc(size));
}
void* operator new[](size_t size) {
  return Count(std::malloc(size));
}
void operator delete(void* block) noexcept {
  Release(block);
}
void operator delete[](void* block) noexcept {
  Release(block);
}
void operator delete(void* block, size_t) noexcept {
  Release(block);
}
void operator delete[](void* block, size_t) noexcept {
  Release(block);
}

namespace kelo::bench {
namespace {

void PeakMemoryOfLoading(benchmark::State& state) {
  const std::string answer = SampleHierarchyAnswer({});
  KELOAccessCacheManager cache;
  const size_t before = current;
  peak = current;
  for (auto _ : state) {  // the second round replaces a full cache
    HierarchyLoader(cache).RefreshHierarchyInfoByXMLData(answer);
  }
  const auto size = static_cast<double>(answer.size());
  state.counters["answer_MiB"] = size / (1 << 20);
  state.counters["peak_MiB"] = static_cast<double>(peak - before) / (1 << 20);
  state.counters["ratio"] = static_cast<double>(peak - before) / size;
  state.counters["bound"] = 3.0;
}
BENCHMARK(PeakMemoryOfLoading)->Iterations(2)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
