// Lists each album once, and turns the lists around.
#include "host/account/AccountItems.h"

#include <algorithm>

#include "host/account/AccountTree.h"

namespace kelo::host {

AccountItems::AccountItems(Library& library) {
  const AccountTree tree(library, AccountTree::Tells::kNo);
  for (const AccountPlace& place : tree.Places()) {
    if (!Is(place.entry.kind, Kind::Album) && place.entry.kind != Kind::RootAlbum) continue;
    albumIds_.push_back(place.entry.id);
    for (const Item& item : tree.ContentsOf(place.entry).entries) {
      if (item.id.size() + 1 >= KELO_ID_FIELD_SIZE) continue;
      Place& known = items_[item.id];
      known.name = item.raw.name;
      known.albums.push_back(albumIds_.size() - 1);
    }
  }
}

const std::string* AccountItems::NameOf(const std::string& id) const {
  const auto found = items_.find(id);
  return found == items_.end() ? nullptr : &found->second.name;
}

bool AccountItems::IsIn(const std::string& id, const std::string& albumId) const {
  const auto found = items_.find(id);
  return found != items_.end() && std::ranges::any_of(found->second.albums, [&](size_t at) {
           return albumIds_[at] == albumId;
         });
}

}  // namespace kelo::host
