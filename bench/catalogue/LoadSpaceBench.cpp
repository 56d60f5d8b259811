// The memory that a load keeps and the most that it takes, the answer itself included, each as a
// multiple of the answer: a first load, and one that replaces a loaded cache, beyond that cache.
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "Measure.h"
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

// Arguments: albums, whether the cache is loaded already.
void MemoryOfLoading(benchmark::State& state) {
  const std::string answer =
      SampleHierarchyAnswer({Sized<size_t>(100000, 1000), static_cast<size_t>(state.range(0))});
  KELOAccessCacheManager cache;
  const size_t empty = current;
  if (state.range(1)) HierarchyLoader(cache).RefreshHierarchyInfoByXMLData(answer);
  const size_t before = current;
  peak = current;
  for (auto _ : state) HierarchyLoader(cache).RefreshHierarchyInfoByXMLData(answer);
  const auto size = static_cast<double>(answer.size());
  state.counters["answer_MiB"] = size / (1 << 20);
  TellBounded(state, "kept_ratio", static_cast<double>(current - empty) / size, 1.5);
  TellBounded(state, "peak_ratio", static_cast<double>(peak - before) / size, 2.5);
}
BENCHMARK(MemoryOfLoading)
    ->ArgNames({"albums", "loaded"})
    ->ArgsProduct({{Sized(1000, 10), Sized(10000, 100)}, {0, 1}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
