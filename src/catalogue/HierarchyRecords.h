// The records of the cached hierarchy: folders, albums, friend albums, the root album and the file
// items in them. Plain values; KELOAccessCacheManager holds all behaviour. The record that hosts
// see, tagKELO_ItemInfo, and the kind bits (kKELOKind_...) are in KELOAccess.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KELOAccess.h"
#include "catalogue/EntryList.h"

namespace kelo {

// Key of the root folder and of the root entry of the friend albums. An empty id given by a caller
// means this id.
inline constexpr std::string_view kRootID = "KELO_CACHEINFO_ROOT_ID";
constexpr std::string_view OrRoot(std::string_view id) {
  return id.empty() ? kRootID : id;
}
// Parent id of a root entry: the top of the parent chain.
inline constexpr std::string_view kTerminateID = "KELO_CACHEINFO_TERMINATE_ID";
// The pseudo-album of the items that belong to no album; listed as a child of the root folder.
inline constexpr std::string_view kRootAlbumID = KELO_ROOT_ALBUM_ID;
// The whole server, as the target of a query.
inline constexpr std::string_view kAllItemsID = KELO_ALL_ITEMS_ID;

inline constexpr std::string_view kRootName = "Root";
inline constexpr std::string_view kRootAlbumName = "RootAlbum";

// Flags of a cached shared album.
inline constexpr uint32_t kSharedAlbumFlags = kKELOKind_Album | kKELOKind_SharedAlbum;

// An id is cut to this many bytes wherever a record stores it.
inline constexpr uint32_t kIDLength = KELO_ID_FIELD_SIZE - 1;

// Texts are stored as the service wrote them, references included.
struct tagFileItemData {
  std::string fileName = {};
  std::string modifyDate = {};
  std::string shotDate = {};
  std::string uploadDate = {};
  std::string screenUrl = {};
  std::string origUrl = {};
  uint32_t fileFormat = 0;
  // Given by the cache:
  uint32_t index = 0;      // position in its list: the list's size when it was added
  uint64_t sequence = 0;   // entries of equal index stand in the order in which they were added
  bool preferred = false;  // this is what a query for the item's id finds

  void KeepPlaceOf(const tagFileItemData& other) {
    index = other.index;
    sequence = other.sequence;
    preferred = other.preferred;
  }
};

// The link from a directory to a child folder or album.
struct tagDirectoryItemData {
  std::string name = {};
  std::string modifyDate = {};
  // As in tagFileItemData, among the siblings of the same kind:
  uint32_t index = 0;
  uint64_t sequence = 0;

  void KeepPlaceOf(const tagDirectoryItemData& other) {
    index = other.index;
    sequence = other.sequence;
  }
};

// The children of one directory.
struct tagDirectoryItemList {
  EntryList<tagDirectoryItemData> folders;
  EntryList<tagDirectoryItemData> albums;
  EntryList<tagFileItemData> files;
};

// A folder, an album or the root folder.
struct tagDirectoryInfo {
  char parentID[KELO_ID_FIELD_SIZE] = {};  // as it was given: empty stays empty
  std::string name;
  std::string modifyDate;
  uint32_t flags = 0;  // kind bits
  tagDirectoryItemList items;
};

// An album that another user shares with this one: the same fields.
struct tagFriendAlbumInfo : tagDirectoryInfo {};

// The whole hierarchy. The bounded store of finished item records is ItemInfoCache.
struct tagServerHierarchyInfo {
  IDMap<tagDirectoryInfo> directories;  // the root folder under kRootID, every folder and album
  EntryList<tagFileItemData> rootAlbumFiles;  // the items of the root album
  IDMap<tagFriendAlbumInfo> friendAlbums;     // with a root entry under kRootID
};

}  // namespace kelo
