// Rebuilding the cache from a large answer that is in memory, beside a general XML parser that
// fills a hash map of plain records.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "catalogue/PlainAccount.h"
#include "catalogue/SampleAccount.h"
#include "catalogue/Timing.h"

namespace kelo::bench {
namespace {

// Argument: albums. The two take turns, so that both see the same machine, each with a new cache,
// as the first load of a session has.
void Load100000Items(benchmark::State& state) {
  const std::string answer = SampleHierarchyAnswer({100000, static_cast<size_t>(state.range(0))});
  std::vector<double> ours;
  std::vector<double> plain;
  for (auto _ : state) {
    {
      PlainAccount account;
      plain.push_back(Seconds([&] { account.Load(answer); }));
      if (account.ItemCount() != 100000) std::abort();
    }
    KELOAccessCacheManager cache;
    std::string moved = answer;
    ours.push_back(
        Seconds([&] { HierarchyLoader(cache).RefreshHierarchyInfoByXMLData(std::move(moved)); }));
    if (cache.GetAllItemsCountOnServer(kKELOKind_FileItem) != 100000) std::abort();
    state.SetIterationTime(ours.back());
  }
  state.counters["answer_MiB"] = static_cast<double>(answer.size()) / (1 << 20);
  state.counters["yardstick_ms"] = Median(plain) * 1000;
  state.counters["ours_ms"] = Median(ours) * 1000;
  state.counters["GB_per_s"] = static_cast<double>(answer.size()) / Median(ours) * 1e-9;
  state.counters["ratio"] = Median(ours) / Median(plain);
  state.counters["bound"] = 0.5;
}
BENCHMARK(Load100000Items)
    ->ArgName("albums")
    ->Arg(1000)
    ->Arg(10000)
    ->UseManualTime()
    ->Iterations(15)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
