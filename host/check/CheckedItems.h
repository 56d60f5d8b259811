// The items of the account with which a check compares files, by their ids and their names.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/account/AccountTree.h"
#include "host/library/Library.h"
#include "host/names/Filter.h"

namespace kelo::host {

struct CheckedItem {
  std::string id;
  std::string name;    // as the catalogue has it (CatalogueNames.h)
  std::string place;   // id of the first album that it was found in
  bool isMet = false;  // a file here is this item, or was, or may be
};

class CheckedItems {
 public:
  // All items that the entries are or hold, in the account's order; without entries, all of one's
  // own account. `misses`: those that no file here is are to be told, and so is what cannot be
  // looked at. What the filter leaves out here is not missed: such items count as met. Needs the
  // hierarchy.
  CheckedItems(Library& library, const std::vector<Item>& entries, const Filter& filter,
               bool misses);

  // Whether these are all items of one's own account.
  bool AreAll() const { return areAll_; }
  bool Misses() const { return misses_; }
  const std::vector<CheckedItem>& InOrder() const { return items_; }
  // Null: there is no such item among them.
  CheckedItem* Find(const std::string& id);
  // Those that the service may call so where a file here has this name.
  std::vector<CheckedItem*> CalledLike(const std::string& fileName);
  // "Journeys/Lisbon/c.jpg", as in the account; composed, and not fit for a terminal yet.
  std::string PathOf(const CheckedItem& item) const;
  // Entries that could not be looked at.
  size_t LeftOutCount() const { return tree_.LeftOutCount() + nameless_; }

 private:
  void Add(const Item& entry);
  void AddItem(const Item& item, const std::string& place);

  Library& library_;
  const Filter& filter_;
  const bool areAll_;
  const bool misses_;
  AccountTree tree_;
  std::unordered_map<std::string, std::string> places_;  // paths of albums by their ids
  std::vector<CheckedItem> items_;
  std::unordered_map<std::string, size_t> byId_;  // positions
  std::unordered_multimap<std::string, size_t> byName_;
  std::set<std::pair<std::string, std::string>> entered_;  // ids and names of folders and albums
  size_t nameless_ = 0;  // items whose ids the library's records may have cut
};

}  // namespace kelo::host
