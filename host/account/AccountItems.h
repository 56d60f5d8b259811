// The items of one's own account by their ids: their names, and the albums that each is in.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/library/Library.h"

namespace kelo::host {

class AccountItems {
 public:
  AccountItems() = default;  // none
  // As the library has them now; needs the hierarchy. An id that the records may have cut is left
  // out.
  explicit AccountItems(Library& library);

  // As the catalogue has it (CatalogueNames.h); null: there is no such item.
  const std::string* NameOf(const std::string& id) const;
  bool IsIn(const std::string& id, const std::string& albumId) const;

 private:
  struct Place {
    std::string name;
    std::vector<size_t> albums;  // positions in albumIds_
  };
  std::vector<std::string> albumIds_;
  std::unordered_map<std::string, Place> items_;
};

}  // namespace kelo::host
