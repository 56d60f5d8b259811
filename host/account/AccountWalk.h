// What folders and albums hold, for walks of the account. An account need not be a tree: the
// service may put a folder into itself, one album into two folders, give one id to two entries, or
// an id that the library's records cut. What cannot be looked at costs only itself.
#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "host/library/Library.h"

namespace kelo::host {

struct Contents {
  std::vector<Item> entries{};  // the albums of a folder, the items of an album
  std::vector<Item> strays{};   // what the service has put there besides
  std::string problem{};        // why neither can be told; empty: they can
};

// Of a folder or an album.
Contents ContentsOf(Library& library, const Item& container);

// Whose entry it is that two listings tell of. An id alone may have been cut.
using EntryKey = std::tuple<std::string, std::string, std::string>;
EntryKey KeyOf(const Item& entry);

// A walk that looks into each folder and album once, so that it ends in every account, and tells
// what it leaves out: in words, and with --json as an entry with the member "leftOut".
class AccountWalk {
 public:
  explicit AccountWalk(Library& library) : library_(library) {}

  // The root album, the folders, and the albums in none.
  std::vector<Item> Top();
  std::vector<Item> Friends();
  // The entries in it; none if it was left out.
  std::vector<Item> Below(const Item& container);
  // The folders and albums that none of these has led to.
  std::vector<Item> Others();
  // How much was left out so far, without what was there before.
  std::size_t LeftOut() const { return leftOut_; }

 private:
  std::vector<Item> Met(std::vector<Item> entries);
  void LeaveOut(const Item& entry, const std::string& why);
  void Tell(const Item& entry, const std::string& why) const;

  Library& library_;
  std::map<std::string, std::string> entered_;  // names by id
  std::set<std::string> met_;                   // ids of folders and albums
  std::size_t leftOut_ = 0;
};

}  // namespace kelo::host
