// Rebuilding the cache from a large answer that is in memory: beside a general XML parser that
// fills a hash map of plain records, and with ids that were chosen to collide beside plain ones.
#include <cstring>
#include <functional>
#include <set>
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

// One of many ids that std::hash gives the same value: that of libstdc++ on a 64-bit machine, which
// has no key and can be calculated backwards. Empty where it would hold a quote or a NUL.
std::string CollidingId(uint64_t number) {
  constexpr uint64_t kMultiplier = 0xc6a4a7935bd1e995;
  constexpr uint64_t kSeed = 0xc70f6907;
  const auto inverse = [](uint64_t of) {
    uint64_t found = of;  // each round doubles the bits that are right, 3 to begin with
    for (int round = 0; round < 5; ++round) found *= 2 - of * found;
    return found;
  }(kMultiplier);
  const auto mixed = [](uint64_t value) { return value ^ (value >> 47); };  // its own inverse
  std::string id(24, '\0');
  snprintf(id.data(), id.size(), "%016llx", static_cast<unsigned long long>(number));
  uint64_t hash = kSeed ^ (id.size() * kMultiplier);
  for (const size_t at : {0, 8}) {
    uint64_t block;
    std::memcpy(&block, id.data() + at, sizeof block);
    hash = (hash ^ mixed(block * kMultiplier) * kMultiplier) * kMultiplier;
  }
  const uint64_t last = mixed(hash * inverse) * inverse;
  std::memcpy(id.data() + 16, &last, sizeof last);
  return id.find_first_of(std::string_view("\"\0", 2)) == std::string::npos ? id : std::string();
}

// Chosen ids must cost no more than others.
void LoadCollidingIds(benchmark::State& state) {
  const size_t count = Sized(80000, 800);
  std::set<size_t> values;
  std::string chosen("<a stat=\"ok\"/><rootAlbum>");
  std::string plain = chosen;
  for (uint64_t number = 0, taken = 0; taken < count; ++number) {
    const std::string id = CollidingId(number);
    if (id.empty()) continue;
    ++taken;
    values.insert(std::hash<std::string>()(id));
    chosen.append("<item itemId=\"").append(id).append("\"/>");
    plain.append("<item itemId=\"").append(id.substr(0, 16)).append("12345678\"/>");
  }
  chosen.append("</rootAlbum>");
  plain.append("</rootAlbum>");
  const auto load = [&](const std::string& answer) {
    return [&answer, &state, count] {
      KELOAccessCacheManager cache;
      HierarchyLoader(cache).RefreshHierarchyInfoByXMLData(answer);
      if (cache.GetAllItemsCountOnServer(kKELOKind_FileItem) != count)
        state.SkipWithError("not loaded");
    };
  };
  Compare(state, 1.5, load(chosen), load(plain), kProcessorTime);
  state.counters["values_of_std_hash"] = static_cast<double>(values.size());
}
BENCHMARK(LoadCollidingIds)
    ->UseManualTime()
    ->Iterations(Sized(5, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
