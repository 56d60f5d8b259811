// The items of one's own account by their ids: their names, and the albums that each is in.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/library/Library.h"

namespace kelo::host {

// Asks the library, which has the hierarchy in memory: records are large, so none is kept. An id
// that the records may have cut is no item's.
class AccountItems {
 public:
  explicit AccountItems(Library& library) : library_(library) {}

  // As the catalogue has it (CatalogueNames.h); nothing: there is no such item.
  std::optional<std::string> NameOf(const std::string& id);
  bool IsIn(const std::string& id, const std::string& albumId);
  // Ids of the items with one of these names in an album where this item lies.
  std::vector<std::string> Beside(const std::string& id, const std::vector<std::string>& names);
  // The same in an album; without an id: in no album.
  std::vector<std::string> In(const std::string& albumId, const std::vector<std::string>& names);
  // The same anywhere.
  std::set<std::string> Called(const std::vector<std::string>& names);

 private:
  using Ids = std::unordered_multimap<std::string, std::string>;  // by names

  std::optional<tagKELO_ItemInfo> Find(const std::string& id);
  bool IsOwnAlbum(const std::string& id);
  const Ids& IdsIn(const std::string& albumId);
  const std::vector<std::string>& Albums();

  Library& library_;
  std::map<std::string, bool> isOwnAlbum_;  // by id
  std::map<std::string, Ids> idsIn_;        // by ids of albums
  std::vector<std::string> albums_;         // ids; the first is of the root album
};

}  // namespace kelo::host
