// Listing an account, one record of it, and adding uploaded items to it.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
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

// The yardstick: a hash map of plain items, and a list of ids for each album, as a host would keep
// them.
class PlainItems {
 public:
  void Add(const std::string& album, const std::string& id) {
    items_.insert_or_assign(id, Item{album, "picture.jpg", "2024-05-17T10:11:12Z"});
    albums_[album].push_back(id);
  }
  void Fill(const std::string& id, tagKELO_ItemInfo& info) const {
    const Item& item = items_.find(id)->second;
    std::memset(&info, 0, sizeof info);
    id.copy(info.itemId, sizeof info.itemId - 1);
    item.album.copy(info.parentId, sizeof info.parentId - 1);
    item.name.copy(info.name, sizeof info.name - 1);
    item.date.copy(info.modifyDate, sizeof info.modifyDate - 1);
    benchmark::ClobberMemory();
  }

  void FillAll(std::vector<tagKELO_ItemInfo>& records) const {
    size_t at = 0;
    for (const auto& [album, ids] : albums_)
      for (const std::string& id : ids) Fill(id, records[at++]);
  }

 private:
  struct Item {
    std::string album, name, date;
  };
  std::unordered_map<std::string, Item> items_;
  std::unordered_map<std::string, std::vector<std::string>> albums_;
};

// Arguments: items, albums, finished records that are kept, as many as can be.
void ListServer(benchmark::State& state) {
  const auto items = static_cast<size_t>(state.range(0));
  const auto cache = Account({items, static_cast<size_t>(state.range(1)), 50},
                             static_cast<uint32_t>(state.range(2)));
  PlainItems plain;
  for (uint64_t i = 0; i < items; ++i)
    plain.Add(SampleId('a', i % static_cast<uint64_t>(state.range(1))), SampleId('i', i));
  std::vector<tagKELO_ItemInfo> records(items);
  for (int64_t i = 0; i < state.range(2); ++i)
    cache->GetItemInfo(SampleId('i', static_cast<uint64_t>(i)), records.front());
  Compare(
      state, 0.6,
      [&] {
        if (cache->GetAllItemsInfoOnServer(static_cast<uint32_t>(items), records.data(),
                                           kKELOKind_FileItem) != kKELOResult_Success)
          state.SkipWithError("not listed");
      },
      [&] { plain.FillAll(records); }, kProcessorTime);
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
  PlainItems plain;
  for (const std::string& id : ids) plain.Add(SampleId('a', 3), id);
  tagKELO_ItemInfo info;
  Compare(
      state, 3,
      [&] {
        for (const std::string& id : ids) {
          cache->GetItemInfo(id, info);
          if (info.result != kKELOResult_Success) state.SkipWithError("no record");
        }
      },
      [&] {
        for (const std::string& id : ids) plain.Fill(id, info);
      },
      kProcessorTime);
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
  const std::string album = SampleId('a', 3);
  std::vector<std::string> ids;
  for (uint64_t i = 0; i < added; ++i) ids.push_back(SampleId('n', i));
  std::vector<double> ours;
  std::vector<double> yardstick;
  tagKELO_ItemInfo info;
  for (auto _ : state) {
    PlainItems plain;
    for (uint64_t i = 0; i < before; ++i) plain.Add(album, SampleId('i', i));
    yardstick.push_back(Seconds(kProcessorTime, [&] {
      for (const std::string& id : ids) {
        plain.Add(album, id);
        plain.Fill(id, info);
      }
    }));
    const auto cache = Account({before, Sized<size_t>(1000, 10), 50}, 1000);
    ours.push_back(Seconds(kProcessorTime, [&] {
      for (const std::string& id : ids) {
        cache->AddFileItem(album, id, {.fileName = "picture.jpg"});
        cache->GetItemInfo(id, info);
      }
    }));
    state.SetIterationTime(ours.back());
  }
  // A small map lies in the processor's cache, so the yardstick does next to nothing.
  TellRatio(state, ours, yardstick, added + before > 2000 ? 2 : 6);
}
BENCHMARK(AddUploadedItems)
    ->ArgNames({"added", "before"})
    ->ArgsProduct({{1000, Sized(100000, 1000)}, {1000, Sized(100000, 1000)}})
    ->UseManualTime()
    ->Iterations(Sized(3, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
