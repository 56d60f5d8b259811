// Building and checking the cached hierarchy, and the finished item records.
#include "catalogue/KELOAccessCacheManager.h"

#include <cstring>
#include <string>
#include <utility>

#include "platform/KELOCriticalSection.h"
#include "platform/TextField.h"

namespace kelo {
namespace {

template <typename Record>
Record* FindEntry(IDMap<Record>& map, std::string_view id) {
  const auto found = map.find(id);
  return found == map.end() ? nullptr : &found->second;
}

}  // namespace

KELOAccessCacheManager::KELOAccessCacheManager(uint32_t budgetBytes)
    : itemInfoCache_(budgetBytes / static_cast<uint32_t>(sizeof(tagKELO_ItemInfo))),
      lock_(std::make_unique<KELOCriticalSection>()) {}

KELOAccessCacheManager::~KELOAccessCacheManager() = default;

void KELOAccessCacheManager::SetupRootFolder() {
  if (hierarchy_.directories.contains(kRootID)) ClearAllFolder();
  AddRootEntry(hierarchy_.directories, HierarchyPlace::Kind::Directory);
}

void KELOAccessCacheManager::ReserveItems(size_t items) {
  index_.Reserve(items);
}

void KELOAccessCacheManager::ClearAllFolder() {
  index_.Clear();  // it refers to the maps
  sharedAlbums_.clear();
  hierarchy_ = {};
  SetupFriendAlbum();
  ClearKELO_ItemInfoCache();
}

void KELOAccessCacheManager::SetupFriendAlbum() {
  AddRootEntry(hierarchy_.friendAlbums, HierarchyPlace::Kind::FriendAlbum);
}

template <typename Record>
void KELOAccessCacheManager::AddRootEntry(IDMap<Record>& map, HierarchyPlace::Kind kind) {
  const auto [entry, added] = map.try_emplace(std::string(kRootID));
  if (!added) return;
  CopyTextField(entry->second.parentID, kTerminateID);
  entry->second.name = kRootName;
  entry->second.flags = kKELOKind_Folder;
  index_.Add(entry->first, {.kind = kind, .directory = &entry->second});
}

void KELOAccessCacheManager::PutFile(EntryList<tagFileItemData>& list, std::string_view id,
                                     tagFileItemData data, HierarchyPlace place) {
  const auto [entry, added] = list.PutAtEnd(id, std::move(data), additions_++);
  if (!added) return;
  place.file = &entry->second;
  index_.Add(entry->first, place);
}

void KELOAccessCacheManager::AddDirectoryItem(std::string_view parentID, std::string_view id,
                                              tagDirectoryItemData data, uint32_t flags) {
  if (id.empty()) return;
  if (tagDirectoryInfo* parent = FindEntry(hierarchy_.directories, OrRoot(parentID))) {
    if (flags & kKELOKind_Folder) {
      parent->items.folders.PutAtEnd(id, data, additions_++);
    } else if (flags & kKELOKind_Album) {
      parent->items.albums.PutAtEnd(id, data, additions_++);
    }
  }
  const auto [entry, added] = hierarchy_.directories.try_emplace(std::string(id));
  if (!added) return;
  tagDirectoryInfo& directory = entry->second;
  CopyTextField(directory.parentID, parentID);
  directory.name = std::move(data.name);
  directory.modifyDate = std::move(data.modifyDate);
  directory.flags = flags;
  index_.Add(entry->first, {.kind = HierarchyPlace::Kind::Directory, .directory = &directory});
  if (flags & kKELOKind_SharedAlbum) {
    sharedAlbums_[ReadTextField(directory.parentID)].insert(entry->first);
  }
}

void KELOAccessCacheManager::AddAlbum(std::string_view parentID, std::string_view id,
                                      tagDirectoryItemData data, bool shared) {
  AddDirectoryItem(parentID, id, std::move(data),
                   shared ? kSharedAlbumFlags : uint32_t{kKELOKind_Album});
}

void KELOAccessCacheManager::AddFolder(std::string_view parentID, std::string_view id,
                                       tagDirectoryItemData data) {
  AddDirectoryItem(parentID, id, std::move(data), kKELOKind_Folder);
}

void KELOAccessCacheManager::AddFileItem(std::string_view parentID, std::string_view id,
                                         tagFileItemData data) {
  if (id.empty()) return;
  const auto parent = hierarchy_.directories.find(OrRoot(parentID));
  if (parent == hierarchy_.directories.end()) return;
  PutFile(parent->second.items.files, id, std::move(data),
          {.kind = HierarchyPlace::Kind::DirectoryFile, .holderID = parent->first});
}

void KELOAccessCacheManager::AddFileItemToRootAlbum(std::string_view id, tagFileItemData data) {
  if (id.empty()) return;
  PutFile(hierarchy_.rootAlbumFiles, id, std::move(data),
          {.kind = HierarchyPlace::Kind::RootAlbumFile, .holderID = kRootAlbumID});
}

void KELOAccessCacheManager::AddFriendAlbum(std::string_view id, tagDirectoryItemData data) {
  if (id.empty()) return;
  if (tagFriendAlbumInfo* root = FindEntry(hierarchy_.friendAlbums, kRootID)) {
    root->items.albums.PutAtEnd(id, data, additions_++);
  }
  const auto [entry, added] = hierarchy_.friendAlbums.try_emplace(std::string(id));
  if (!added) return;
  tagFriendAlbumInfo& album = entry->second;
  album.name = std::move(data.name);
  album.modifyDate = std::move(data.modifyDate);
  album.flags = kKELOKind_FriendAlbum;
  index_.Add(entry->first, {.kind = HierarchyPlace::Kind::FriendAlbum, .directory = &album});
}

void KELOAccessCacheManager::AddFileItemToFriendAlbum(std::string_view friendAlbumID,
                                                      std::string_view id, tagFileItemData data) {
  if (id.empty()) return;
  const auto album = hierarchy_.friendAlbums.find(OrRoot(friendAlbumID));
  if (album == hierarchy_.friendAlbums.end()) return;
  PutFile(album->second.items.files, id, std::move(data),
          {.kind = HierarchyPlace::Kind::FriendAlbumFile, .holderID = album->first});
}

void KELOAccessCacheManager::UpdateFileItem(std::string_view id, const tagFileItemData& data) {
  bool replaced = false;
  index_.Find(id, [&](const HierarchyPlace& place) {
    if (place.kind == HierarchyPlace::Kind::RootAlbumFile ||
        place.kind == HierarchyPlace::Kind::DirectoryFile) {
      tagFileItemData replacement = data;
      replacement.KeepPlaceOf(*place.file);
      *place.file = std::move(replacement);
      replaced = true;
    }
    return false;  // on to the next place
  });
  if (replaced) RemoveKELO_ItemInfoCache(id);
}

bool KELOAccessCacheManager::CheckDirectoryItemID(std::string_view id, bool& isAlbum) const {
  isAlbum = false;
  const auto found = hierarchy_.directories.find(OrRoot(id));
  if (found == hierarchy_.directories.end()) return false;
  isAlbum = (found->second.flags & kKELOKind_Album) != 0;
  return true;
}

bool KELOAccessCacheManager::CheckFriendAlbumID(std::string_view id) const {
  return hierarchy_.friendAlbums.contains(id);
}

void KELOAccessCacheManager::UpdateKELO_ItemInfoCache(std::string_view id,
                                                      const tagKELO_ItemInfo& info) {
  itemInfoCache_.Store(OrRoot(id), info);
}

const tagKELO_ItemInfo* KELOAccessCacheManager::GetKELO_ItemInfoCache(std::string_view id) const {
  return itemInfoCache_.Find(OrRoot(id));
}

void KELOAccessCacheManager::RemoveKELO_ItemInfoCache(std::string_view id) {
  itemInfoCache_.Remove(OrRoot(id));
}

void KELOAccessCacheManager::ClearKELO_ItemInfoCache() {
  itemInfoCache_.Clear();
}

}  // namespace kelo
