// Counts and lists of the cached hierarchy. One walk visits what stands under a target, and one the
// whole server; what is done with it, to count, to list ids, or to write records, is the sink's.
#include <algorithm>

#include "catalogue/KELOAccessCacheManager.h"

namespace kelo {
namespace {

// Shared albums are a kind of their own only where albums are not asked for.
bool AsksForSharedAlbumsOnly(uint32_t kindMask) {
  return (kindMask & (kKELOKind_Album | kKELOKind_SharedAlbum)) == kKELOKind_SharedAlbum;
}

bool IsShared(const tagDirectoryInfo& directory) {
  return (directory.flags & kKELOKind_SharedAlbum) != 0;
}

// How the id lists differ from the lists of records.
enum class Order { Id, Service };

struct Counter {
  static constexpr Order kOrder = Order::Service;
  size_t count = 0;

  void Add(std::string_view) { ++count; }
  void Add(const HierarchyTable&, const HierarchyList& list) { count += list.size; }
};

template <Order kIsIn>
struct Ids {
  static constexpr Order kOrder = kIsIn;
  std::vector<std::string_view> ids;

  void Add(std::string_view id) { ids.push_back(id); }
  void Add(const HierarchyTable& table, const HierarchyList& list) {
    const auto before = static_cast<std::ptrdiff_t>(ids.size());
    table.ForEach(list, [&](const HierarchyPlace& place) { ids.push_back(place.id); });
    if (kOrder == Order::Id) std::sort(ids.begin() + before, ids.end());
  }
  void Write(char* buffer) const {
    for (const std::string_view id : ids) {
      buffer[id.copy(buffer, kIdLength)] = '\0';
      buffer += KELO_ID_FIELD_SIZE;
    }
  }
};

template <typename Sink>
void VisitLists(const HierarchyTable& table, const tagDirectoryInfo& directory, uint32_t kindMask,
                Sink& sink) {
  if (kindMask & kKELOKind_Folder) sink.Add(table, directory.items[kFolders]);
  if (kindMask & kKELOKind_Album) sink.Add(table, directory.items[kAlbums]);
  if (kindMask & kKELOKind_FileItem) sink.Add(table, directory.items[kFiles]);
}

}  // namespace

template <typename Visit>
void KELOAccessCacheManager::VisitDirectories(const HierarchyTable& table, Visit visit) const {
  for (const uint32_t number : table.DirectoriesById(abort_)) {
    CheckAbort();
    visit(table.Directory(number));
  }
}

// Writes the records one behind the other.
class KELOAccessCacheManager::Records {
 public:
  static constexpr Order kOrder = Order::Service;

  // The records name `parentId` as their parent, or, where that is null, each its own.
  Records(const KELOAccessCacheManager& cache, void* buffer, const std::string_view* parentId)
      : cache_(cache), next_(static_cast<char*>(buffer)), parentId_(parentId) {}

  void Add(std::string_view id) { cache_.WriteRecord(id, parentId_, Next()); }
  void Add(const HierarchyTable& table, const HierarchyList& list) {
    table.ForEach(
        list,
        [&](const HierarchyPlace& place) { cache_.WriteEntry(table, place, parentId_, Next()); });
  }

 private:
  void* Next() {
    cache_.CheckAbort();
    next_ += sizeof(tagKELO_ItemInfo);
    return next_ - sizeof(tagKELO_ItemInfo);
  }

  const KELOAccessCacheManager& cache_;
  char* next_;
  const std::string_view* parentId_;
};

template <typename Sink>
void KELOAccessCacheManager::VisitTarget(std::string_view targetId, uint32_t kindMask,
                                         Sink& sink) const {
  const HierarchyTable& table = *hierarchy_.directories;
  if ((kindMask & kKELOKind_RootAlbum) && targetId.empty()) sink.Add(kRootAlbumId);
  if ((kindMask & kKELOKind_FileItem) && targetId == kRootAlbumId)
    sink.Add(table, table.RootAlbum().items[kFiles]);
  const uint32_t directory = table.FindDirectory(OrRoot(targetId));
  if (directory != kNone) VisitLists(table, table.Directory(directory), kindMask, sink);
  if (AsksForSharedAlbumsOnly(kindMask))
    VisitDirectories(table, [&](const tagDirectoryInfo& album) {
      if (IsShared(album) && album.parentID == targetId) sink.Add(album.id);
    });
  if (directory != kNone || Sink::kOrder == Order::Id) return;
  const HierarchyTable& friends = *hierarchy_.friendAlbums;
  const uint32_t album = friends.FindDirectory(OrRoot(targetId));
  if (album == kNone) return;
  VisitLists(friends, friends.Directory(album), kindMask & kKELOKind_FileItem, sink);
}

// Among the records a shared album stands before its own items, among the ids behind everything.
template <typename Sink>
void KELOAccessCacheManager::VisitServer(uint32_t kindMask, Sink& sink) const {
  const HierarchyTable& table = *hierarchy_.directories;
  const HierarchyTable& friends = *hierarchy_.friendAlbums;
  if (table.DirectoriesById(abort_).empty()) return;
  const bool sharedOnly = AsksForSharedAlbumsOnly(kindMask);
  const uint32_t files = kindMask & kKELOKind_FileItem;
  if (kindMask & kKELOKind_RootAlbum) sink.Add(kRootAlbumId);
  VisitLists(table, table.RootAlbum(), files, sink);
  VisitDirectories(table, [&](const tagDirectoryInfo& directory) {
    VisitLists(table, directory, kindMask & ~files, sink);
    if (sharedOnly && Sink::kOrder == Order::Service && IsShared(directory)) sink.Add(directory.id);
    VisitLists(table, directory, files, sink);
  });
  if (kindMask & kKELOKind_FriendAlbum) {
    VisitDirectories(
        friends,
        [&](const tagDirectoryInfo& album) {
          if (album.id != kRootId) sink.Add(album.id);
        });
  }
  if (sharedOnly && Sink::kOrder == Order::Id) {
    VisitDirectories(
        table,
        [&](const tagDirectoryInfo& album) {
          if (IsShared(album)) sink.Add(album.id);
        });
  }
}

uint32_t KELOAccessCacheManager::GetItemsCountOnTargetID(std::string_view targetId,
                                                         uint32_t kindMask) const {
  Counter counter;
  VisitTarget(targetId, kindMask, counter);
  return static_cast<uint32_t>(counter.count);
}

uint32_t KELOAccessCacheManager::GetItemsIDListOnTargetID(std::string_view targetId, uint32_t count,
                                                          char* idBuffer, uint32_t kindMask) const {
  Ids<Order::Id> list;
  VisitTarget(targetId, kindMask, list);
  if (list.ids.size() != count) return kKELOResult_BadParameter;
  list.Write(idBuffer);
  return kKELOResult_Success;
}

uint32_t KELOAccessCacheManager::GetItemsInfoOnTargetID(std::string_view targetId, uint32_t count,
                                                        void* infoBuffer, uint32_t kindMask) const {
  if (GetItemsCountOnTargetID(targetId, kindMask) != count) return kKELOResult_BadParameter;
  Records records(*this, infoBuffer, &targetId);
  VisitTarget(targetId, kindMask, records);
  return kKELOResult_Success;
}

std::vector<std::string_view> KELOAccessCacheManager::GetIdsOnTarget(std::string_view targetId,
                                                                     uint32_t kindMask) const {
  Ids<Order::Service> list;
  VisitTarget(targetId, kindMask, list);
  for (std::string_view& id : list.ids) id = id.substr(0, kIdLength);
  return std::move(list.ids);
}

uint32_t KELOAccessCacheManager::GetAllItemsCountOnServer(uint32_t kindMask) const {
  Counter counter;
  VisitServer(kindMask, counter);
  return static_cast<uint32_t>(counter.count);
}

uint32_t KELOAccessCacheManager::GetAllItemsIDListOnServer(uint32_t count, char* idBuffer,
                                                           uint32_t kindMask) const {
  Ids<Order::Id> list;
  VisitServer(kindMask, list);
  if (list.ids.size() != count) return kKELOResult_GeneralFailure;
  list.Write(idBuffer);
  return kKELOResult_Success;
}

uint32_t KELOAccessCacheManager::GetAllItemsInfoOnServer(uint32_t count, void* infoBuffer,
                                                         uint32_t kindMask) const {
  if (GetAllItemsCountOnServer(kindMask) != count) return kKELOResult_GeneralFailure;
  Records records(*this, infoBuffer, nullptr);
  VisitServer(kindMask, records);
  return kKELOResult_Success;
}

}  // namespace kelo
