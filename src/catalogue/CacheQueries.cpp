// Counts, lists and records of the cached hierarchy.
#include <algorithm>
#include <cstring>
#include <tuple>

#include "catalogue/KELOAccessCacheManager.h"
#include "platform/HostRecord.h"
#include "platform/TextField.h"

namespace kelo {
namespace {

// What the item count of a directory's record counts.
constexpr uint32_t kCountedInDirectory = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem |
                                         kKELOKind_RootAlbum | kKELOKind_SharedAlbum;
constexpr uint32_t kCountedInFriendAlbum = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem;

// Shared albums are a kind of their own only where albums are not asked for.
bool AsksForSharedAlbumsOnly(uint32_t kindMask) {
  return (kindMask & (kKELOKind_Album | kKELOKind_SharedAlbum)) == kKELOKind_SharedAlbum;
}

void WriteIDList(const std::vector<std::string_view>& ids, char* buffer) {
  for (const std::string_view id : ids) {
    const size_t length = std::min<size_t>(id.size(), kIDLength);
    std::memcpy(buffer, id.data(), length);
    buffer[length] = '\0';
    buffer += KELO_ID_FIELD_SIZE;
  }
}

char* RecordAt(void* buffer, size_t position) {
  return static_cast<char*>(buffer) + position * sizeof(tagKELO_ItemInfo);
}

bool IsFile(const HierarchyPlace& place) {
  return place.file != nullptr;
}

}  // namespace

void KELOAccessCacheManager::AlignIDByIndex(std::vector<std::string_view>& out,
                                            std::vector<IndexedID>& byIndex) {
  std::sort(byIndex.begin(), byIndex.end(), [](const IndexedID& a, const IndexedID& b) {
    return std::tie(a.index, a.sequence) < std::tie(b.index, b.sequence);
  });
  for (const IndexedID& entry : byIndex) out.push_back(entry.id);
  byIndex.clear();
}

template <typename Record>
void KELOAccessCacheManager::Append(IDList& out, const IDMap<Record>& list, Order order) {
  if (order == Order::ID) {
    for (const auto& [id, data] : list) out.push_back(id);
    return;
  }
  std::vector<IndexedID> byIndex;
  byIndex.reserve(list.size());
  for (const auto& [id, data] : list) byIndex.push_back({data.index, data.sequence, id});
  AlignIDByIndex(out, byIndex);
}

const std::set<std::string_view>& KELOAccessCacheManager::SharedAlbumsUnder(
    std::string_view targetID) const {
  static const std::set<std::string_view> none;
  const auto found = sharedAlbums_.find(targetID);
  return found == sharedAlbums_.end() ? none : found->second;
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
  if (AsksForSharedAlbumsOnly(kindMask)) count += SharedAlbumsUnder(targetID).size();
  if (kindMask & kKELOKind_FileItem) {
    if (const auto* album = FriendAlbumOnly(targetID)) count += album->items.files.size();
  }
  return static_cast<uint32_t>(count);
}

KELOAccessCacheManager::IDList KELOAccessCacheManager::CollectOnTarget(std::string_view targetID,
                                                                       uint32_t kindMask,
                                                                       Order order) const {
  IDList ids;
  if ((kindMask & kKELOKind_RootAlbum) && targetID.empty()) ids.push_back(kRootAlbumID);
  if ((kindMask & kKELOKind_FileItem) && targetID == kRootAlbumID) {
    Append(ids, hierarchy_.rootAlbumFiles, order);
  }
  const auto directory = hierarchy_.directories.find(OrRoot(targetID));
  if (directory != hierarchy_.directories.end()) {
    const tagDirectoryItemList& items = directory->second.items;
    if (kindMask & kKELOKind_Folder) Append(ids, items.folders, order);
    if (kindMask & kKELOKind_Album) Append(ids, items.albums, order);
    if (kindMask & kKELOKind_FileItem) Append(ids, items.files, order);
  }
  if (AsksForSharedAlbumsOnly(kindMask)) {
    const auto& shared = SharedAlbumsUnder(targetID);
    ids.insert(ids.end(), shared.begin(), shared.end());
  }
  if ((kindMask & kKELOKind_FileItem) && order == Order::Service) {
    if (const auto* album = FriendAlbumOnly(targetID)) Append(ids, album->items.files, order);
  }
  return ids;
}

uint32_t KELOAccessCacheManager::GetItemsIDListOnTargetID(std::string_view targetID, uint32_t count,
                                                          char* idBuffer, uint32_t kindMask) const {
  const IDList ids = CollectOnTarget(targetID, kindMask, Order::ID);
  if (ids.size() != count) return kKELOResult_BadParameter;
  WriteIDList(ids, idBuffer);
  return kKELOResult_Success;
}

uint32_t KELOAccessCacheManager::GetItemsInfoOnTargetID(std::string_view targetID, uint32_t count,
                                                        void* infoBuffer, uint32_t kindMask) {
  const IDList ids = CollectOnTarget(targetID, kindMask, Order::Service);
  if (ids.size() != count) return kKELOResult_BadParameter;
  tagKELO_ItemInfo info;
  for (size_t i = 0; i < ids.size(); ++i) {
    GetItemInfo(ids[i], info);
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
    if (AsksForSharedAlbumsOnly(kindMask) && (directory.flags & kKELOKind_SharedAlbum)) ++count;
  }
  if (kindMask & kKELOKind_FriendAlbum) {
    const auto& albums = hierarchy_.friendAlbums;
    count += albums.size() - (albums.contains(kRootID) ? 1 : 0);
  }
  return static_cast<uint32_t>(count);
}

// The ID list gives the shared albums after everything else, the record list each in the place of
// its directory's albums. Deliberate.
KELOAccessCacheManager::IDList KELOAccessCacheManager::CollectOnServer(uint32_t kindMask,
                                                                       Order order) const {
  IDList ids;
  if (hierarchy_.directories.empty()) return ids;  // as the count has it
  IDList shared;
  if (kindMask & kKELOKind_RootAlbum) ids.push_back(kRootAlbumID);
  if (kindMask & kKELOKind_FileItem) Append(ids, hierarchy_.rootAlbumFiles, order);
  for (const auto& [id, directory] : hierarchy_.directories) {
    if (kindMask & kKELOKind_Folder) Append(ids, directory.items.folders, order);
    if (kindMask & kKELOKind_Album) Append(ids, directory.items.albums, order);
    if (AsksForSharedAlbumsOnly(kindMask) && (directory.flags & kKELOKind_SharedAlbum)) {
      (order == Order::Service ? ids : shared).push_back(id);
    }
    if (kindMask & kKELOKind_FileItem) Append(ids, directory.items.files, order);
  }
  if (kindMask & kKELOKind_FriendAlbum) {
    for (const auto& [id, album] : hierarchy_.friendAlbums) {
      if (id != kRootID) ids.push_back(id);
    }
  }
  ids.insert(ids.end(), shared.begin(), shared.end());
  return ids;
}

uint32_t KELOAccessCacheManager::GetAllItemsIDListOnServer(uint32_t count, char* idBuffer,
                                                           uint32_t kindMask) const {
  const IDList ids = CollectOnServer(kindMask, Order::ID);
  if (ids.size() != count) return kKELOResult_GeneralFailure;
  WriteIDList(ids, idBuffer);
  return kKELOResult_Success;
}

uint32_t KELOAccessCacheManager::GetAllItemsInfoOnServer(uint32_t count, void* infoBuffer,
                                                         uint32_t kindMask) {
  const IDList ids = CollectOnServer(kindMask, Order::Service);
  if (ids.size() != count) return kKELOResult_GeneralFailure;
  tagKELO_ItemInfo info;
  for (size_t i = 0; i < ids.size(); ++i) {
    GetItemInfo(ids[i], info);
    StoreRecord(RecordAt(infoBuffer, i), info);
  }
  return kKELOResult_Success;
}

void KELOAccessCacheManager::GetItemInfoFromFileItemData(const tagFileItemData& data,
                                                         tagKELO_ItemInfo& info) {
  CopyTextField(info.name, data.fileName);
  CopyTextField(info.modifyDate, data.modifyDate);
  CopyTextField(info.shotDate, data.shotDate);
  CopyTextField(info.uploadDate, data.uploadDate);
  CopyTextField(info.screenUrl, data.screenUrl);
  CopyTextField(info.origUrl, data.origUrl);
  CopyTextField(info.text464, {});
  CopyTextField(info.text1704, {});
  CopyTextField(info.text2216, {});
  info.fileFormat = data.fileFormat;
  info.word356 = 0;
  info.word456 = 0;
  info.word460 = 0;
}

// Fills a cleared record with the most preferred entry of that id; false if there is none.
bool KELOAccessCacheManager::BuildItemInfo(std::string_view id, tagKELO_ItemInfo& info) const {
  if (id == kRootAlbumID) {
    info.kind = kKELOKind_RootAlbum;
    CopyTextField(info.name, kRootAlbumName);
    info.itemCount = static_cast<uint32_t>(hierarchy_.rootAlbumFiles.size());
    return true;
  }
  // The empty id means the root entries, never an item that happens to have the root id.
  const HierarchyPlace* place = index_.Find(
      OrRoot(id), [&](const HierarchyPlace& found) { return !id.empty() || !IsFile(found); });
  if (!place) return false;
  if (IsFile(*place)) {
    CopyTextField(info.parentId, place->holderID);
    info.kind = kKELOKind_FileItem;
    GetItemInfoFromFileItemData(*place->file, info);
    return true;
  }
  const tagDirectoryInfo& directory = *place->directory;
  CopyTextField(info.parentId, ReadTextField(directory.parentID));
  info.kind = directory.flags;
  CopyTextField(info.name, directory.name);
  CopyTextField(info.modifyDate, directory.modifyDate);
  const bool isFriendAlbum = place->kind == HierarchyPlace::Kind::FriendAlbum;
  info.itemCount =
      GetItemsCountOnTargetID(id, isFriendAlbum ? kCountedInFriendAlbum : kCountedInDirectory);
  return true;
}

void KELOAccessCacheManager::GetItemInfo(std::string_view id, tagKELO_ItemInfo& info) {
  if (const tagKELO_ItemInfo* finished = GetKELO_ItemInfoCache(id)) {
    info = *finished;
    return;
  }
  info = {};
  if (!BuildItemInfo(id, info)) {
    info.result = kKELOResult_NotFound;
    return;
  }
  // The root folder's count holds the root album a second time, deliberately.
  if (id.empty()) ++info.itemCount;
  if (ReadTextField(info.parentId) == kTerminateID) CopyTextField(info.parentId, {});
  if (id != kRootID) CopyTextField(info.itemId, id);
  UpdateKELO_ItemInfoCache(id, info);
}

}  // namespace kelo
