// Listing an account, one record of it, and adding uploaded items to it.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "catalogue/SampleAccount.h"

namespace kelo::bench {
namespace {

std::unique_ptr<KELOAccessCacheManager> Account(const AccountSize& size, uint32_t records) {
  auto cache = std::make_unique<KELOAccessCacheManager>(
      records * static_cast<uint32_t>(sizeof(tagKELO_ItemInfo)));
  HierarchyLoader(*cache).RefreshHierarchyInfoByXMLData(SampleHierarchyAnswer(size));
  return cache;
}

// Arguments: items, albums, finished records that are kept, as many as can be. The yardstick writes
// as many filled records into the same buffer; the two take turns.
void ListServer(benchmark::State& state) {
  const auto items = static_cast<size_t>(state.range(0));
  const auto cache = Account({items, static_cast<size_t>(state.range(1)), 50},
                             static_cast<uint32_t>(state.range(2)));
  std::vector<char> buffer(items * sizeof(tagKELO_ItemInfo));
  tagKELO_ItemInfo filled;
  for (int64_t i = 0; i < state.range(2); ++i)
    cache->GetItemInfo(SampleId('i', static_cast<uint64_t>(i)), filled);
  std::memset(&filled, 'x', sizeof filled);
  std::vector<double> ours;
  std::vector<double> writing;
  for (auto _ : state) {
    writing.push_back(Seconds(
        kProcessorTime,
        [&] {
          for (size_t i = 0; i < items; ++i) {
            std::memcpy(buffer.data() + i * sizeof filled, &filled, sizeof filled);
            benchmark::ClobberMemory();
          }
        }));
    ours.push_back(Seconds(kProcessorTime, [&] {
      if (cache->GetAllItemsInfoOnServer(static_cast<uint32_t>(items), buffer.data(),
                                         kKELOKind_FileItem) != kKELOResult_Success)
        state.SkipWithError("not listed");
    }));
    state.SetIterationTime(ours.back());
  }
  TellRatio(state, ours, writing, state.range(2) == 0 ? 1.4 : 2.0);
}
BENCHMARK(ListServer)
    ->ArgNames({"items", "albums", "records_kept"})
    ->ArgsProduct({{Sized(100000, 1000)},
                   {Sized(1000, 10), Sized(10000, 100)},
                   {0, Sized(10000, 100)}})
    ->UseManualTime()
    ->Iterations(Sized(7, 1))
    ->Unit(benchmark::kMillisecond);

// Records that are not kept, of an account of so many items.
void OneFreshRecord(benchmark::State& state) {
  const auto items = static_cast<size_t>(state.range(0));
  const auto cache = Account({items, std::max<size_t>(1, items / 10), 50}, 0);
  std::vector<std::string> ids;
  for (uint64_t i = 0; i < items; ++i) ids.push_back(SampleId('i', i * 7919 % items));
  tagKELO_ItemInfo info;
  std::vector<double> taken;
  for (auto _ : state) {
    taken.push_back(Seconds(kProcessorTime, [&] {
      for (const std::string& id : ids) {
        cache->GetItemInfo(id, info);
        if (info.result != kKELOResult_Success) state.SkipWithError("no record");
      }
    }));
    state.SetIterationTime(taken.back());
  }
  TellBounded(state, "record_ns", MiddleOf(taken) / static_cast<double>(items) * 1e9, 1000);
}
BENCHMARK(OneFreshRecord)
    ->ArgName("items")
    ->Arg(1000)
    ->Arg(Sized(100000, 1000))
    ->UseManualTime()
    ->Iterations(Sized(7, 1));

// Arguments: uploaded items, items that the account had. One album takes them all, and each new
// item is asked for at once.
void AddUploadedItems(benchmark::State& state) {
  const auto added = static_cast<uint64_t>(state.range(0));
  const auto before = static_cast<size_t>(state.range(1));
  std::vector<double> taken;
  for (auto _ : state) {
    const auto cache = Account({before, Sized<size_t>(1000, 10), 50}, 1000);
    const std::string album = SampleId('a', 3);
    std::vector<std::string> ids;
    for (uint64_t i = 0; i < added; ++i) ids.push_back(SampleId('n', i));
    tagKELO_ItemInfo info;
    taken.push_back(Seconds(kProcessorTime, [&] {
      for (const std::string& id : ids) {
        cache->AddFileItem(album, id, {.fileName = "picture.jpg"});
        cache->GetItemInfo(id, info);
      }
    }));
    state.SetIterationTime(taken.back());
  }
  TellBounded(state, "item_ns", MiddleOf(taken) / static_cast<double>(added) * 1e9, 1000);
}
BENCHMARK(AddUploadedItems)
    ->ArgNames({"added", "before"})
    ->ArgsProduct({{1000, Sized(100000, 1000)}, {1000, Sized(100000, 1000)}})
    ->UseManualTime()
    ->Iterations(Sized(3, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
