// Counts and lists of the cached hierarchy.
#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

#include "catalogue/KELOAccessCacheManager.h"
#include "platform/HostRecord.h"
#include "platform/TextField.h"

namespace kelo {
namespace {

// Shared albums are a kind of their own only where albums are not asked for.
bool AsksForSharedAlbumsOnly(uint32_t kindMask) {
  return (kindMask & (kKELOKind_Album | kKELOKind_SharedAlbum)) == kKELOKind_SharedAlbum;
}

bool IsListedSharedAlbum(const tagDirectoryInfo& directory, uint32_t kindMask) {
  return AsksForSharedAlbumsOnly(kindMask) && (directory.flags & kKELOKind_SharedAlbum);
}

void WriteIDList(const KELOAccessCacheManager::IDList& ids, char* buffer) {
  for (const auto& entry : ids) {
    const size_t length = std::min<size_t>(entry.id.size(), kIDLength);
    std::memcpy(buffer, entry.id.data(), length);
    buffer[length] = '\0';
    buffer += KELO_ID_FIELD_SIZE;
  }
}

char* RecordAt(void* buffer, size_t position) {
  return static_cast<char*>(buffer) + position * sizeof(tagKELO_ItemInfo);
}

const tagFileItemData* SourceOf(const tagFileItemData& data) {
  return data.preferred ? &data : nullptr;
}
const tagFileItemData* SourceOf(const tagDirectoryItemData&) {
  return nullptr;
}

enum class Order { ID, Service };

}  // namespace

// Puts the groups of a list one behind the other, each in the order of the list's kind.
class KELOAccessCacheManager::Collector {
 public:
  explicit Collector(Order order) : order_(order) {}

  void Add(std::string_view id) { ids_.push_back({id}); }

  template <typename Record>
  void Add(const EntryList<Record>& list, std::string_view holderID) {
    if (order_ == Order::ID) {
      for (const auto& [id, data] : list.ByID()) Add(id);
      return;
    }
    for (const auto* entry : list.ByAddition()) {
      const Record& data = entry->second;
      byIndex_.push_back({entry->first, data.index, data.sequence, SourceOf(data), holderID});
    }
    AlignIDByIndex(ids_, byIndex_);
  }

  void AddChildren(const tagDirectoryItemList& items, std::string_view id, uint32_t kindMask) {
    if (kindMask & kKELOKind_Folder) Add(items.folders, id);
    if (kindMask & kKELOKind_Album) Add(items.albums, id);
    if (kindMask & kKELOKind_FileItem) Add(items.files, id);
  }

  IDList Take() { return std::move(ids_); }

 private:
  Order order_;
  IDList ids_;
  IDList byIndex_;  // kept between groups for its memory
};

void KELOAccessCacheManager::AlignIDByIndex(IDList& out, IDList& byIndex) {
  const auto before = [](const ListedID& a, const ListedID& b) {
    return std::tie(a.index, a.sequence) < std::tie(b.index, b.sequence);
  };
  if (!std::is_sorted(byIndex.begin(), byIndex.end(), before)) {  // most lists are
    std::sort(byIndex.begin(), byIndex.end(), before);
  }
  out.insert(out.end(), byIndex.begin(), byIndex.end());
  byIndex.clear();
}

// Null if there are none.
const std::set<std::string_view>* KELOAccessCacheManager::SharedAlbumsUnder(
    std::string_view targetID) const {
  const auto found = sharedAlbums_.find(targetID);
  return found == sharedAlbums_.end() ? nullptr : &found->second;
}

// The friend album of that id, unless the id is a directory's: that one is meant then.
const tagFriendAlbumInfo* KELOAccessCacheManager::FriendAlbumOnly(std::string_view targetID) const {
  if (hierarchy_.directories.contains(OrRoot(targetID))) return nullptr;
  const auto found = hierarchy_.friendAlbums.find(OrRoot(targetID));
  return found == hierarchy_.friendAlbums.end() ? nullptr : &found->second;
}

uint32_t KELOAccessCacheManager::GetItemsCountOnTargetID(std::string_view targetID,
                                                         uint32_t kindMask) const {
  size_t count = 0;
  if ((kindMask & kKELOKind_RootAlbum) && targetID.empty()) ++count;
  if ((kindMask & kKELOKind_FileItem) && targetID == kRootAlbumID) {
    count += hierarchy_.rootAlbumFiles.size();
  }
  const auto directory = hierarchy_.directories.find(OrRoot(targetID));
  if (directory != hierarchy_.directories.end()) {
    const tagDirectoryItemList& items = directory->second.items;
    if (kindMask & kKELOKind_Folder) count += items.folders.size();
    if (kindMask & kKELOKind_Album) count += items.albums.size();
    if (kindMask & kKELOKind_FileItem) count += items.files.size();
  }
  const auto* shared = AsksForSharedAlbumsOnly(kindMask) ? SharedAlbumsUnder(targetID) : nullptr;
  if (shared) count += shared->size();
  if (kindMask & kKELOKind_FileItem) {
    if (const auto* album = FriendAlbumOnly(targetID)) count += album->items.files.size();
  }
  return static_cast<uint32_t>(count);
}

void KELOAccessCacheManager::CollectOnTarget(std::string_view targetID, uint32_t kindMask,
                                             Collector& list) const {
  if ((kindMask & kKELOKind_RootAlbum) && targetID.empty()) list.Add(kRootAlbumID);
  if ((kindMask & kKELOKind_FileItem) && targetID == kRootAlbumID) {
    list.Add(hierarchy_.rootAlbumFiles, kRootAlbumID);
  }
  const auto directory = hierarchy_.directories.find(OrRoot(targetID));
  if (directory != hierarchy_.directories.end()) {
    list.AddChildren(directory->second.items, directory->first, kindMask);
  }
  const auto* shared = AsksForSharedAlbumsOnly(kindMask) ? SharedAlbumsUnder(targetID) : nullptr;
  if (shared) {
    for (const std::string_view id : *shared) list.Add(id);
  }
}

uint32_t KELOAccessCacheManager::GetItemsIDListOnTargetID(std::string_view targetID, uint32_t count,
                                                          char* idBuffer, uint32_t kindMask) const {
  Collector list(Order::ID);
  CollectOnTarget(targetID, kindMask, list);
  const IDList ids = list.Take();
  if (ids.size() != count) return kKELOResult_BadParameter;
  WriteIDList(ids, idBuffer);
  return kKELOResult_Success;
}

uint32_t KELOAccessCacheManager::GetItemsInfoOnTargetID(std::string_view targetID, uint32_t count,
                                                        void* infoBuffer, uint32_t kindMask) {
  Collector list(Order::Service);
  CollectOnTarget(targetID, kindMask, list);
  if (kindMask & kKELOKind_FileItem) {
    if (const auto* album = FriendAlbumOnly(targetID))
      list.Add(album->items.files, OrRoot(targetID));
  }
  const IDList ids = list.Take();
  if (ids.size() != count) return kKELOResult_BadParameter;
  tagKELO_ItemInfo info;
  for (size_t i = 0; i < ids.size(); ++i) {
    GetListedItemInfo(ids[i], info);
    CopyTextField(info.parentId, targetID);
    StoreRecord(RecordAt(infoBuffer, i), info);
  }
  return kKELOResult_Success;
}

uint32_t KELOAccessCacheManager::GetAllItemsCountOnServer(uint32_t kindMask) const {
  if (hierarchy_.directories.empty()) return 0;
  size_t count = 0;
  if (kindMask & kKELOKind_RootAlbum) ++count;
  if (kindMask & kKELOKind_FileItem) count += hierarchy_.rootAlbumFiles.size();
  for (const auto& [id, directory] : hierarchy_.directories) {
    if (kindMask & kKELOKind_Folder) count += directory.items.folders.size();
    if (kindMask & kKELOKind_Album) count += directory.items.albums.size();
    if (kindMask & kKELOKind_FileItem) count += directory.items.files.size();
    if (IsListedSharedAlbum(directory, kindMask)) ++count;
  }
  if (kindMask & kKELOKind_FriendAlbum) {
    const auto& albums = hierarchy_.friendAlbums;
    count += albums.size() - (albums.contains(kRootID) ? 1 : 0);
  }
  return static_cast<uint32_t>(count);
}

void KELOAccessCacheManager::CollectRootAlbum(uint32_t kindMask, Collector& list) const {
  if (kindMask & kKELOKind_RootAlbum) list.Add(kRootAlbumID);
  if (kindMask & kKELOKind_FileItem) list.Add(hierarchy_.rootAlbumFiles, kRootAlbumID);
}

void KELOAccessCacheManager::CollectFriendAlbums(uint32_t kindMask, Collector& list) const {
  if (!(kindMask & kKELOKind_FriendAlbum)) return;
  for (const auto& [id, album] : hierarchy_.friendAlbums) {
    if (id != kRootID) list.Add(id);
  }
}

uint32_t KELOAccessCacheManager::GetAllItemsIDListOnServer(uint32_t count, char* idBuffer,
                                                           uint32_t kindMask) const {
  Collector list(Order::ID);
  if (!hierarchy_.directories.empty()) {  // else nothing, as the count has it
    CollectRootAlbum(kindMask, list);
    for (const auto& [id, directory] : hierarchy_.directories) {
      list.AddChildren(directory.items, id, kindMask);
    }
    CollectFriendAlbums(kindMask, list);
    for (const auto& [id, directory] : hierarchy_.directories) {
      if (IsListedSharedAlbum(directory, kindMask)) list.Add(id);
    }
  }
  const IDList ids = list.Take();
  if (ids.size() != count) return kKELOResult_GeneralFailure;
  WriteIDList(ids, idBuffer);
  return kKELOResult_Success;
}

// Here a shared album stands before its own items, not behind everything else as in the ID list.
uint32_t KELOAccessCacheManager::GetAllItemsInfoOnServer(uint32_t count, void* infoBuffer,
                                                         uint32_t kindMask) {
  Collector list(Order::Service);
  if (!hierarchy_.directories.empty()) {
    CollectRootAlbum(kindMask, list);
    for (const auto& [id, directory] : hierarchy_.directories) {
      list.AddChildren(directory.items, id, kindMask & ~uint32_t{kKELOKind_FileItem});
      if (IsListedSharedAlbum(directory, kindMask)) list.Add(id);
      list.AddChildren(directory.items, id, kindMask & kKELOKind_FileItem);
    }
    CollectFriendAlbums(kindMask, list);
  }
  const IDList ids = list.Take();
  if (ids.size() != count) return kKELOResult_GeneralFailure;
  tagKELO_ItemInfo info;
  for (size_t i = 0; i < ids.size(); ++i) {
    GetListedItemInfo(ids[i], info);
    StoreRecord(RecordAt(infoBuffer, i), info);
  }
  return kKELOResult_Success;
}

}  // namespace kelo
