// Building and checking the cached hierarchy, and the finished item records.
#include "catalogue/KELOAccessCacheManager.h"

#include <utility>

#include "platform/AbortSignal.h"
#include "platform/KELOCriticalSection.h"

namespace kelo {
namespace {

std::unique_ptr<HierarchyTable> TableWithRoot() {
  auto table = std::make_unique<HierarchyTable>();
  table->AddRoot();
  return table;
}

}  // namespace

KELOAccessCacheManager::KELOAccessCacheManager(uint32_t budgetBytes, const AbortSignal* abort)
    : abort_(abort),
      hierarchy_{std::make_unique<HierarchyTable>(), std::make_unique<HierarchyTable>()},
      itemInfoCache_(budgetBytes / static_cast<uint32_t>(sizeof(tagKELO_ItemInfo))),
      lock_(std::make_unique<KELOCriticalSection>()) {}

KELOAccessCacheManager::~KELOAccessCacheManager() = default;

void KELOAccessCacheManager::CheckAbort() const {
  if (abort_) abort_->Check();
}

void KELOAccessCacheManager::SetupRootFolder() {
  if (hierarchy_.directories->FindDirectory(kRootId) != kNone) {
    TakeHierarchy(TableWithRoot());
  } else {
    hierarchy_.directories->AddRoot();
    RemoveKELO_ItemInfoCache(kRootId);
  }
}

void KELOAccessCacheManager::ClearAllFolder() {
  TakeHierarchy(std::make_unique<HierarchyTable>());
}

void KELOAccessCacheManager::SetupFriendAlbum() {
  hierarchy_.friendAlbums->AddRoot();
  RemoveKELO_ItemInfoCache(kRootId);
}

void KELOAccessCacheManager::TakeHierarchy(std::unique_ptr<HierarchyTable> directories) {
  TakeFriendAlbums(TableWithRoot());
  hierarchy_.directories = std::move(directories);
}

void KELOAccessCacheManager::TakeFriendAlbums(
    std::unique_ptr<HierarchyTable> friendAlbums) noexcept {
  hierarchy_.friendAlbums = std::move(friendAlbums);
  ClearKELO_ItemInfoCache();
}

void KELOAccessCacheManager::RemoveFriendAlbums() {
  const bool hasRoot = CheckFriendAlbumID(kRootId);
  TakeFriendAlbums(hasRoot ? TableWithRoot() : std::make_unique<HierarchyTable>());
}

void KELOAccessCacheManager::AddDirectoryItem(std::string_view parentId, std::string_view id,
                                              const tagDirectoryItemData& data, uint32_t flags) {
  if (id.empty()) return;
  HierarchyTable& table = *hierarchy_.directories;
  table.AddDirectory(table.FindDirectory(OrRoot(parentId)), parentId, id, data, flags);
  RemoveKELO_ItemInfoCache(id);
  RemoveKELO_ItemInfoCache(parentId);  // it shows how many folders and albums it holds
}

void KELOAccessCacheManager::AddFriendAlbum(std::string_view id, const tagDirectoryItemData& data) {
  if (id.empty()) return;
  hierarchy_.friendAlbums->AddDirectory(kNone, {}, id, data, kKELOKind_FriendAlbum);
  RemoveKELO_ItemInfoCache(id);
}

void KELOAccessCacheManager::AddFile(HierarchyTable& table, uint32_t directory, std::string_view id,
                                     const tagFileItemData& data) {
  if (id.empty() || directory == kNone) return;
  table.AddFile(directory, id, data);
  RemoveKELO_ItemInfoCache(id);
  RemoveKELO_ItemInfoCache(table.Directory(directory).id);  // it shows how many items it holds
}

void KELOAccessCacheManager::AddFileItem(std::string_view parentId, std::string_view id,
                                         const tagFileItemData& data) {
  HierarchyTable& table = *hierarchy_.directories;
  AddFile(table, table.FindDirectory(OrRoot(parentId)), id, data);
}

void KELOAccessCacheManager::AddFileItemToRootAlbum(std::string_view id,
                                                    const tagFileItemData& data) {
  AddFile(*hierarchy_.directories, HierarchyTable::kRootAlbum, id, data);
}

void KELOAccessCacheManager::AddFileItemToFriendAlbum(std::string_view friendAlbumId,
                                                      std::string_view id,
                                                      const tagFileItemData& data) {
  HierarchyTable& table = *hierarchy_.friendAlbums;
  AddFile(table, table.FindDirectory(OrRoot(friendAlbumId)), id, data);
}

void KELOAccessCacheManager::UpdateFileItem(std::string_view id, const tagFileItemData& data) {
  if (hierarchy_.directories->UpdateFile(id, data)) RemoveKELO_ItemInfoCache(id);
}

bool KELOAccessCacheManager::CheckDirectoryItemID(std::string_view id, bool& isAlbum) const {
  const HierarchyTable& table = *hierarchy_.directories;
  const uint32_t directory = table.FindDirectory(OrRoot(id));
  isAlbum = directory != kNone && (table.Directory(directory).flags & kKELOKind_Album);
  return directory != kNone;
}

bool KELOAccessCacheManager::CheckFriendAlbumID(std::string_view id) const {
  return hierarchy_.friendAlbums->FindDirectory(id) != kNone;
}

}  // namespace kelo
