// Rebuilding the cache from a large answer that is in memory, beside a general XML parser that
// fills a hash map of plain records.
#include <string>
#include <vector>

#include "Measure.h"
#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "catalogue/PlainAccount.h"
#include "catalogue/SampleAccount.h"

namespace kelo::bench {
namespace {

const size_t kItems = Sized(100000, 1000);

// Argument: albums. The two take turns, so that both see the same machine, each with a new cache,
// as the first load of a session has.
void Load100000Items(benchmark::State& state) {
  const std::string answer = SampleHierarchyAnswer({kItems, static_cast<size_t>(state.range(0))});
  std::vector<double> ours;
  std::vector<double> plain;
  for (auto _ : state) {
    {
      PlainAccount account;
      plain.push_back(Seconds(kProcessorTime, [&] { account.Load(answer); }));
      if (account.ItemCount() != kItems) state.SkipWithError("the yardstick failed");
    }
    KELOAccessCacheManager cache;
    std::string moved = answer;
    ours.push_back(Seconds(kProcessorTime, [&] {
      HierarchyLoader(cache).RefreshHierarchyInfoByXMLData(std::move(moved));
    }));
    if (cache.GetAllItemsCountOnServer(kKELOKind_FileItem) != kItems)
      state.SkipWithError("not loaded");
    state.SetIterationTime(ours.back());
  }
  state.counters["answer_MiB"] = static_cast<double>(answer.size()) / (1 << 20);
  TellRatio(state, ours, plain, 0.5);
}
BENCHMARK(Load100000Items)
    ->ArgName("albums")
    ->Arg(Sized(1000, 10))
    ->Arg(Sized(10000, 100))
    ->UseManualTime()
    ->Iterations(Sized(15, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
