// The account as a tree: folders and albums at the top, the albums of each folder, the items of
// each album, and the friends' albums. An account need not be a tree: the service may put a folder
// into itself, one album into two folders, give one id to two entries, or an id that the library's
// records cut. What cannot be looked at costs only itself.
#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "host/library/Library.h"

namespace kelo::host {

constexpr Kind kAlbums = Kind::Album | Kind::FriendAlbum | Kind::RootAlbum;
constexpr Kind kAnyKind = kAlbums | Kind::Folder | Kind::FileItem;

// Tells whether two listings show the same entry; an id alone may be cut.
using EntryKey = std::tuple<std::string, std::string, std::string>;
EntryKey KeyOf(const Item& entry);

// A folder or an album, and the folder that it says it lies in; none at the top.
struct AccountPlace {
  Item entry{};
  const Item* folder = nullptr;
};

// What is in a folder or an album.
struct PlaceContents {
  std::vector<Item> entries{};  // the albums of a folder, the items of an album
  std::vector<Item> strays{};   // what the service has put there besides
  std::string problem{};        // why neither can be told; empty: they can
};

class AccountTree {
 public:
  enum class Tells { kNo, kYes };

  // What a walk leaves out is told in words, and with --json as an entry with the member "leftOut".
  explicit AccountTree(Library& library, Tells tells = Tells::kYes)
      : library_(library), tells_(tells == Tells::kYes) {}

  // The root album, then all folders and albums. The pointers lead to folders among them.
  std::vector<AccountPlace> Places() const;
  PlaceContents ContentsOf(const Item& container) const;

  // A walk that looks into each folder and album once, so that it ends in every account. At the
  // top: the root album, the folders, and the albums in none.
  std::vector<Item> Top();
  std::vector<Item> Friends();
  // The entries in it; none if it was left out.
  std::vector<Item> Below(const Item& container);
  // The folders and albums that no call before has led to.
  std::vector<Item> Others();
  // Entries left out so far; those visited before do not count.
  size_t LeftOutCount() const { return leftOut_; }

 private:
  std::vector<Item> Met(std::vector<Item> entries);
  void LeaveOut(const Item& entry, const std::string& why);
  void Tell(const Item& entry, const std::string& why) const;

  Library& library_;
  const bool tells_;
  std::map<std::string, std::string> entered_;  // names by id
  std::set<std::string> met_;                   // ids of folders and albums
  size_t leftOut_ = 0;
};

}  // namespace kelo::host
