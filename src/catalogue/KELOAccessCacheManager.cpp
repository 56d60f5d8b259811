// Building and checking the cached hierarchy, and the finished item records.
#include "catalogue/KELOAccessCacheManager.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

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
  if (!hierarchy_.directories.contains(kRootID)) {
    AddRootEntry(hierarchy_.directories, HierarchyPlace::Kind::Directory);
    return;
  }
  KELOAccessCacheManager fresh;
  fresh.SetupFriendAlbum();
  fresh.SetupRootFolder();
  TakeHierarchyOf(fresh);
}

void KELOAccessCacheManager::ReserveItems(size_t items) {
  index_.Reserve(items);
}

void KELOAccessCacheManager::ClearAllFolder() {
  KELOAccessCacheManager fresh;
  fresh.SetupFriendAlbum();
  TakeHierarchyOf(fresh);
}

void KELOAccessCacheManager::TakeHierarchyOf(KELOAccessCacheManager& other) noexcept {
  std::swap(hierarchy_, other.hierarchy_);
  std::swap(index_, other.index_);
  std::swap(sharedAlbums_, other.sharedAlbums_);
  std::swap(additions_, other.additions_);
  ClearKELO_ItemInfoCache();
  other.ClearKELO_ItemInfoCache();
}

void KELOAccessCacheManager::SetupFriendAlbum() {
  AddRootEntry(hierarchy_.friendAlbums, HierarchyPlace::Kind::FriendAlbum);
}

void KELOAccessCacheManager::RemoveFriendAlbums() noexcept {
  index_.RemoveFriendAlbums();  // it refers to the map
  auto& albums = hierarchy_.friendAlbums;
  std::erase_if(albums, [](const auto& entry) { return entry.first != kRootID; });
  for (auto& [id, root] : albums) {
    root.items.albums.Clear();
    root.items.files.Clear();
  }
  ClearKELO_ItemInfoCache();
}

template <typename Record>
void KELOAccessCacheManager::AddRootEntry(IDMap<Record>& map, HierarchyPlace::Kind kind) {
  const auto [entry, added] = map.try_emplace(std::string(kRootID));
  if (!added) return;
  try {
    CopyTextField(entry->second.parentID, kTerminateID);
    entry->second.name = kRootName;
    entry->second.flags = kKELOKind_Folder;
    index_.Add({.kind = kind, .id = entry->first, .directory = &entry->second});
  } catch (...) {
    map.erase(entry);
    throw;
  }
  RemoveKELO_ItemInfoCache(kRootID);
}

void KELOAccessCacheManager::PutFile(EntryList<tagFileItemData>& list, std::string_view id,
                                     tagFileItemData data, HierarchyPlace place) {
  const auto [entry, added] = list.PutAtEnd(id, std::move(data), additions_++);
  if (added) {
    try {
      place.id = entry->first;
      place.file = &entry->second;
      index_.Add(place);
    } catch (...) {
      list.TakeBack(id);
      throw;
    }
  }
  RemoveKELO_ItemInfoCache(id);
  RemoveKELO_ItemInfoCache(place.holderID);  // it shows how many items it holds
}

void KELOAccessCacheManager::AddDirectoryItem(std::string_view parentID, std::string_view id,
                                              tagDirectoryItemData data, uint32_t flags) {
  if (id.empty()) return;
  EntryList<tagDirectoryItemData>* siblings = nullptr;
  if (tagDirectoryInfo* parent = FindEntry(hierarchy_.directories, OrRoot(parentID))) {
    if (flags & kKELOKind_Folder) {
      siblings = &parent->items.folders;
    } else if (flags & kKELOKind_Album) {
      siblings = &parent->items.albums;
    }
  }
  tagDirectoryInfo directory;
  CopyTextField(directory.parentID, parentID);
  directory.name = data.name;
  directory.modifyDate = data.modifyDate;
  directory.flags = flags;
  AddDirectory(hierarchy_.directories, id, std::move(directory), HierarchyPlace::Kind::Directory,
               siblings, std::move(data));
  RemoveKELO_ItemInfoCache(id);
  RemoveKELO_ItemInfoCache(parentID);  // it shows how many folders and albums it holds
}

// Adds a link to the siblings, if there are any, and the directory, unless there is one of that id.
template <typename Record>
void KELOAccessCacheManager::AddDirectory(IDMap<Record>& map, std::string_view id, Record directory,
                                          HierarchyPlace::Kind kind,
                                          EntryList<tagDirectoryItemData>* siblings,
                                          tagDirectoryItemData link) {
  const bool isShared = (directory.flags & kKELOKind_SharedAlbum) != 0;
  const auto [entry, added] = map.try_emplace(std::string(id), std::move(directory));
  const std::string_view parentID = ReadTextField(entry->second.parentID);
  try {
    if (added && isShared) sharedAlbums_[parentID].insert(entry->first);
    if (siblings) siblings->PutAtEnd(id, std::move(link), additions_++);
    if (added) index_.Add({.kind = kind, .id = entry->first, .directory = &entry->second});
  } catch (...) {
    if (added) {
      if (siblings) siblings->TakeBack(id);  // a new directory's link was new, too
      if (isShared) RemoveSharedAlbum(parentID, id);
      map.erase(entry);
    }
    throw;
  }
}

void KELOAccessCacheManager::RemoveSharedAlbum(std::string_view parentID,
                                               std::string_view id) noexcept {
  const auto found = sharedAlbums_.find(parentID);
  if (found == sharedAlbums_.end()) return;
  if (const auto album = found->second.find(id); album != found->second.end()) {
    found->second.erase(album);
  }
  if (found->second.empty()) sharedAlbums_.erase(found);  // its key was this album's
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
  tagFriendAlbumInfo* root = FindEntry(hierarchy_.friendAlbums, kRootID);
  tagFriendAlbumInfo album;
  album.name = data.name;
  album.modifyDate = data.modifyDate;
  album.flags = kKELOKind_FriendAlbum;
  AddDirectory(hierarchy_.friendAlbums, id, std::move(album), HierarchyPlace::Kind::FriendAlbum,
               root ? &root->items.albums : nullptr, std::move(data));
  RemoveKELO_ItemInfoCache(id);
  RemoveKELO_ItemInfoCache(kRootID);
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
  // All that can fail comes before the first replacement.
  std::vector<std::pair<tagFileItemData*, tagFileItemData>> replacements;
  index_.Find(id, [&](const HierarchyPlace& place) {
    if (place.kind == HierarchyPlace::Kind::RootAlbumFile ||
        place.kind == HierarchyPlace::Kind::DirectoryFile) {
      replacements.emplace_back(place.file, data);
    }
    return false;  // on to the next place
  });
  for (auto& [file, replacement] : replacements) {
    replacement.KeepPlaceOf(*file);
    *file = std::move(replacement);
  }
  if (!replacements.empty()) RemoveKELO_ItemInfoCache(id);
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

void KELOAccessCacheManager::RemoveKELO_ItemInfoCache(std::string_view id) noexcept {
  itemInfoCache_.Remove(OrRoot(id));
}

void KELOAccessCacheManager::ClearKELO_ItemInfoCache() noexcept {
  itemInfoCache_.Clear();
}

}  // namespace kelo
