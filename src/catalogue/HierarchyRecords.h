// What the cached hierarchy is made of: folders, albums, friend albums, the root album and the file
// items in them. Plain values; HierarchyTable holds them. The record that hosts see,
// tagKELO_ItemInfo, and the kind bits (kKELOKind_...) are in KELOAccess.h.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

#include "KELOAccess.h"

namespace kelo {

// Key of the root folder and of the root entry of the friend albums. An empty id given by a caller
// means this id.
inline constexpr std::string_view kRootId = "KELO_CACHEINFO_ROOT_ID";
constexpr std::string_view OrRoot(std::string_view id) {
  return id.empty() ? kRootId : id;
}
// Parent id of a root entry: the top of the parent chain.
inline constexpr std::string_view kTerminateId = "KELO_CACHEINFO_TERMINATE_ID";
// The pseudo-album of the items that belong to no album; listed as a child of the root folder.
inline constexpr std::string_view kRootAlbumId = KELO_ROOT_ALBUM_ID;

inline constexpr std::string_view kRootName = "Root";
inline constexpr std::string_view kRootAlbumName = "RootAlbum";

// Flags of a cached shared album.
inline constexpr uint32_t kSharedAlbumFlags = kKELOKind_Album | kKELOKind_SharedAlbum;

// An id is cut to this many bytes wherever a record stores it.
inline constexpr uint32_t kIdLength = KELO_ID_FIELD_SIZE - 1;

// Texts are as the service wrote them, references included, and belong to whoever made the view.
struct tagFileItemData {
  std::string_view fileName = {};
  std::string_view modifyDate = {};
  std::string_view shotDate = {};
  std::string_view uploadDate = {};
  std::string_view screenUrl = {};
  std::string_view origUrl = {};
  uint32_t fileFormat = 0;
};

// A child folder or album.
struct tagDirectoryItemData {
  std::string_view name = {};
  std::string_view modifyDate = {};
};

// Places, directories and files are known by their numbers in a HierarchyTable.
inline constexpr uint32_t kNone = UINT32_MAX;

// The places of a list in the service's order: from `first` on, each leads to the next.
struct HierarchyList {
  uint32_t first = kNone;
  uint32_t last = kNone;
  uint32_t size = 0;
};

// The children of one directory.
inline constexpr uint32_t kFolders = 0;
inline constexpr uint32_t kAlbums = 1;
inline constexpr uint32_t kFiles = 2;
inline constexpr uint32_t kListKinds = 3;
using tagDirectoryItemList = std::array<HierarchyList, kListKinds>;

// A folder, an album, a friend album, the root folder or the root album.
struct tagDirectoryInfo {
  std::string_view id = {};
  std::string_view parentID = {};  // as it was given, cut to kIdLength: empty stays empty
  std::string_view name = {};
  std::string_view modifyDate = {};
  uint32_t flags = 0;  // kind bits
  tagDirectoryItemList items = {};
  std::unique_ptr<char[]> texts = {};  // holds the texts where no answer does
};

}  // namespace kelo
