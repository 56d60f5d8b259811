// Loads arbitrary bytes into the hierarchy cache, then asks it everything: counts and lists agree,
// and every listed entry is known.
#include <cstdlib>

#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "controller/HostRecord.h"

namespace {

using kelo::KELOAccessCacheManager;

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckTarget(KELOAccessCacheManager& cache, std::string_view target, uint32_t mask) {
  const uint32_t count = cache.GetItemsCountOnTargetID(target, mask);
  std::vector<tagKELO_ItemInfo> records(count);
  Require(cache.GetItemsInfoOnTargetID(target, count, records.data(), mask) == 0);
  for (const auto& record : records) Require(record.result == 0);
  bool isAlbum = false;
  if (!cache.CheckDirectoryItemID(target, isAlbum)) return;  // friend albums have no id list
  std::string ids(count * size_t{KELO_ID_FIELD_SIZE}, '\0');
  Require(cache.GetItemsIDListOnTargetID(target, count, ids.data(), mask) == 0);
}

std::vector<tagKELO_ItemInfo> CheckServer(KELOAccessCacheManager& cache, uint32_t mask) {
  const uint32_t count = cache.GetAllItemsCountOnServer(mask);
  std::vector<tagKELO_ItemInfo> records(count);
  Require(cache.GetAllItemsInfoOnServer(count, records.data(), mask) == 0);
  for (const auto& record : records) Require(record.result == 0);
  std::string ids(count * size_t{KELO_ID_FIELD_SIZE}, '\0');
  Require(cache.GetAllItemsIDListOnServer(count, ids.data(), mask) == 0);
  return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  KELOAccessCacheManager cache(5 * sizeof(tagKELO_ItemInfo));
  kelo::HierarchyLoader loader(cache);
  loader.RefreshHierarchyInfoByXMLData(text);
  loader.RefreshFriendAlbumInfoByXMLData(text);

  constexpr uint32_t kMasks[] = {0x157, 0x155, 0x100, 4, 0x40 | 1 | 2};
  std::vector<std::string> targets = {"", std::string(kelo::kRootAlbumId)};
  for (const uint32_t mask : kMasks) {
    for (const auto& record : CheckServer(cache, mask))
      if (targets.size() < 50) targets.emplace_back(kelo::ReadTextField(record.itemId));
  }
  // Some of them again, so that lists are walked after entries moved to their ends.
  for (const std::string& id : targets) {
    cache.AddFileItem(targets.back(), id, {.fileName = id});
    cache.AddFileItemToRootAlbum(id, {.origUrl = id});
    cache.AddAlbum(targets.front(), id, {.name = id}, id.size() % 2 == 0);
    cache.UpdateFileItem(id, {.screenUrl = id});
  }
  for (const std::string& target : targets)
    for (const uint32_t mask : kMasks) CheckTarget(cache, target, mask);
  for (const uint32_t mask : kMasks) CheckServer(cache, mask);
  return 0;
}
