// The client's copy of the user's hierarchy, kept between commands and queried without the service.
//
//   building, checking, record cache   KELOAccessCacheManager.cpp
//   counts and lists                   CacheQueries.cpp
//   the record of one entry            ItemRecords.cpp
//   the tables underneath              HierarchyTable.h
//
// Everything happens in memory on the caller's thread, one operation at a time. Ids, texts, records
// and buffers belong to the caller and are copied. Building operations report nothing: one whose
// target is missing does nothing, and one that runs out of memory throws std::bad_alloc and has
// changed nothing. An empty directory or album id means the root folder, unless said otherwise.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "catalogue/HierarchyTable.h"
#include "catalogue/ItemInfoCache.h"

namespace kelo {

class AbortSignal;
class KELOCriticalSection;

// The whole hierarchy. The bounded store of finished item records is ItemInfoCache.
struct tagServerHierarchyInfo {
  // The root folder under kRootId, every folder and album, and the items of the root album.
  std::unique_ptr<HierarchyTable> directories;
  std::unique_ptr<HierarchyTable> friendAlbums;  // with a root entry under kRootId
};

class KELOAccessCacheManager {
 public:
  // `budgetBytes` is what finished item records may take: budgetBytes / 2728 of them are kept, none
  // with less than 2728. No root entry exists before SetupRootFolder. A query during which `abort`
  // is raised throws CommandAborted; it may have written part of its list.
  explicit KELOAccessCacheManager(uint32_t budgetBytes = 0, const AbortSignal* abort = nullptr);
  ~KELOAccessCacheManager();
  KELOAccessCacheManager(const KELOAccessCacheManager&) = delete;
  KELOAccessCacheManager& operator=(const KELOAccessCacheManager&) = delete;

  // ---- Building. An entry added again goes to the end of its list. An empty id adds nothing. The
  // finished records of what is added and of what holds it are dropped. ----

  // Empties a hierarchy that has a root folder, then adds the root folder.
  void SetupRootFolder();
  // Empties everything, finished records included; only the root of the friend albums remains.
  void ClearAllFolder();
  // Takes over tables that were filled aside; without friend albums only their root remains.
  void TakeHierarchy(std::unique_ptr<HierarchyTable> directories);
  void TakeFriendAlbums(std::unique_ptr<HierarchyTable> friendAlbums) noexcept;
  // Only the root of the friend albums remains of them.
  void RemoveFriendAlbums();
  // Links the entry to its parent, if that is known, and adds it to the directories, unless it is
  // one already. `parentId` is stored as given. `flags` are kind bits.
  void AddDirectoryItem(std::string_view parentId, std::string_view id,
                        const tagDirectoryItemData& data, uint32_t flags);
  void AddAlbum(std::string_view parentId, std::string_view id, const tagDirectoryItemData& data,
                bool shared) {
    AddDirectoryItem(parentId, id, data, shared ? kSharedAlbumFlags : uint32_t{kKELOKind_Album});
  }
  void AddFolder(std::string_view parentId, std::string_view id, const tagDirectoryItemData& data) {
    AddDirectoryItem(parentId, id, data, kKELOKind_Folder);
  }
  void AddFileItem(std::string_view parentId, std::string_view id, const tagFileItemData& data);
  // Replaces the item's data in the root album and in every directory, each keeping its place, and
  // drops its finished record. Friend albums keep theirs.
  void UpdateFileItem(std::string_view id, const tagFileItemData& data);

  // Whether `id` is a directory; `isAlbum` also says whether it is an album (false otherwise).
  bool CheckDirectoryItemID(std::string_view id, bool& isAlbum) const;
  // Whether `id` is exactly a friend album's.
  bool CheckFriendAlbumID(std::string_view id) const;

  // ---- Finished item records: see ItemInfoCache. ----

  void UpdateKELO_ItemInfoCache(std::string_view id, const tagKELO_ItemInfo& info) {
    itemInfoCache_.Store(OrRoot(id), info);
  }
  // The record or null; valid until the next operation of the cache.
  const tagKELO_ItemInfo* GetKELO_ItemInfoCache(std::string_view id) const {
    return itemInfoCache_.Find(OrRoot(id));
  }
  void RemoveKELO_ItemInfoCache(std::string_view id) noexcept { itemInfoCache_.Remove(OrRoot(id)); }
  void ClearKELO_ItemInfoCache() noexcept { itemInfoCache_.Clear(); }
  // Fills name, dates, URLs and format, and clears the words and areas without a use. Result, ids,
  // kind and item count stay as they are.
  static void GetItemInfoFromFileItemData(const tagFileItemData& data, tagKELO_ItemInfo& info);

  // ---- Queries. Masks are kind bits; kKELOKind_SharedAlbum counts where kKELOKind_Album is not
  // set. A list is written only if it has exactly `count` entries: else the answer is
  // kKELOResult_BadParameter (target) or kKELOResult_GeneralFailure (server) and the buffer stays
  // untouched. Buffers hold tagKELO_ItemInfo records, whole and at any alignment. ----

  // Records stand in the service's order. Those of a target list name the target as their parent.
  uint32_t GetItemsCountOnTargetID(std::string_view targetId, uint32_t kindMask) const;
  uint32_t GetItemsInfoOnTargetID(std::string_view targetId, uint32_t count, void* infoBuffer,
                                  uint32_t kindMask) const;
  // The ids of that list of records, cut to kIdLength; valid until the next change.
  std::vector<std::string_view> GetIdsOnTarget(std::string_view targetId, uint32_t kindMask) const;

  // The whole server; nothing before the root folder exists.
  uint32_t GetAllItemsCountOnServer(uint32_t kindMask) const;
  uint32_t GetAllItemsInfoOnServer(uint32_t count, void* infoBuffer, uint32_t kindMask) const;

  // Fills the record of one entry, from the finished records if it is there, and keeps it there. An
  // unknown id gives a cleared record with the result kKELOResult_NotFound, which is not kept.
  void GetItemInfo(std::string_view id, tagKELO_ItemInfo& info);

  // ==== No command reaches what follows: loads fill their tables aside, and hosts ask for
  // records. ====

  void SetupFriendAlbum();
  void AddFileItemToRootAlbum(std::string_view id, const tagFileItemData& data);
  void AddFriendAlbum(std::string_view id, const tagDirectoryItemData& data);
  void AddFileItemToFriendAlbum(std::string_view friendAlbumId, std::string_view id,
                                const tagFileItemData& data);
  // Ids in id order, in slots of 41 bytes; the bytes behind an id's NUL stay as they were. Friend
  // albums' items are left out, deliberately.
  uint32_t GetItemsIDListOnTargetID(std::string_view targetId, uint32_t count, char* idBuffer,
                                    uint32_t kindMask) const;
  uint32_t GetAllItemsIDListOnServer(uint32_t count, char* idBuffer, uint32_t kindMask) const;

 private:
  class Records;
  void AddFile(HierarchyTable& table, uint32_t directory, std::string_view id,
               const tagFileItemData& data);
  template <typename Visit>
  void VisitDirectories(const HierarchyTable& table, Visit visit) const;
  template <typename Sink>
  void VisitTarget(std::string_view targetId, uint32_t kindMask, Sink& sink) const;
  template <typename Sink>
  void VisitServer(uint32_t kindMask, Sink& sink) const;
  void CheckAbort() const;
  const HierarchyPlace* Find(std::string_view id, const HierarchyTable*& table) const;
  bool WriteRecord(std::string_view id, const std::string_view* parentId, void* record) const;
  void WriteEntry(const HierarchyTable& table, const HierarchyPlace& entry,
                  const std::string_view* parentId, void* record) const;

  const AbortSignal* abort_;
  tagServerHierarchyInfo hierarchy_;
  ItemInfoCache itemInfoCache_;
  std::unique_ptr<KELOCriticalSection> lock_;  // no operation here takes it
};

}  // namespace kelo
