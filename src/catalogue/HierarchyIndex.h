// Where each id of the cached hierarchy stands, so that a look-up costs the same whatever the
// number of albums.
#pragma once

#include <memory>
#include <set>
#include <string_view>
#include <unordered_map>

#include "catalogue/HierarchyRecords.h"

namespace kelo {

// One place where an id stands. The order of kinds, and of the holders' ids within a kind, is the
// order in which a query for the id prefers the places.
struct HierarchyPlace {
  enum class Kind {
    RootAlbum,
    RootAlbumFile,
    Directory,
    FriendAlbum,
    DirectoryFile,
    FriendAlbumFile
  };

  Kind kind;
  std::string_view id = {};               // the key in the hierarchy's own map
  std::string_view holderID = {};         // DirectoryFile, FriendAlbumFile: whose list it is
  tagFileItemData* file = nullptr;        // the kinds of file items
  tagDirectoryInfo* directory = nullptr;  // Directory, FriendAlbum

  bool operator<(const HierarchyPlace& other) const {
    return kind != other.kind ? kind < other.kind : holderID < other.holderID;
  }
};

// Refers to keys and records of the hierarchy's maps: they must stay where they are as long as the
// index does. The root album's id always has a place.
class HierarchyIndex {
 public:
  HierarchyIndex() { Add({.kind = HierarchyPlace::Kind::RootAlbum, .id = kRootAlbumID}); }

  // Adds a place that its id does not have yet. A file item's `preferred` says from then on whether
  // its place is the first one of the id. Where memory is short, nothing has changed.
  void Add(const HierarchyPlace& place);

  // The most preferred place of the id that `accept` accepts, or null.
  template <typename Accept>
  const HierarchyPlace* Find(std::string_view id, Accept accept) const {
    const auto found = places_.find(id);
    if (found == places_.end()) return nullptr;
    const Places& places = found->second;
    if (accept(places.first)) return &places.first;
    if (!places.others) return nullptr;
    for (const HierarchyPlace& place : *places.others) {
      if (accept(place)) return &place;
    }
    return nullptr;
  }

  // Makes room for so many ids at once.
  void Reserve(size_t ids) { places_.reserve(ids); }

  // Takes out every place among the friend albums but that of their root, which stays.
  void RemoveFriendAlbums() noexcept;

 private:
  struct Places {
    HierarchyPlace first;
    std::unique_ptr<std::set<HierarchyPlace>> others;  // rare: most ids stand in one place
  };

  std::unordered_map<std::string_view, Places> places_;
};

}  // namespace kelo
