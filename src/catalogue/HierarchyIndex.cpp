// Where each id of the cached hierarchy stands.
#include "catalogue/HierarchyIndex.h"

#include <utility>

namespace kelo {
namespace {

void SetPreferred(const HierarchyPlace& place, bool preferred) {
  if (place.file) place.file->preferred = preferred;
}

}  // namespace

void HierarchyIndex::Add(const HierarchyPlace& place) {
  const auto [entry, added] = places_.try_emplace(place.id, Places{place, nullptr});
  Places& places = entry->second;
  if (!added) {
    const bool comesFirst = place < places.first;
    if (!places.others) places.others = std::make_unique<std::set<HierarchyPlace>>();
    places.others->insert(comesFirst ? places.first : place);
    SetPreferred(places.first, false);
    SetPreferred(place, false);
    if (comesFirst) places.first = place;
  }
  SetPreferred(places.first, true);
}

void HierarchyIndex::RemoveFriendAlbums() noexcept {
  const auto goes = [](const HierarchyPlace& place) {
    return place.kind == HierarchyPlace::Kind::FriendAlbumFile ||
           (place.kind == HierarchyPlace::Kind::FriendAlbum && place.id != kRootID);
  };
  for (auto next = places_.begin(); next != places_.end();) {
    const auto entry = next++;
    Places& places = entry->second;
    bool removed = places.others && std::erase_if(*places.others, goes) > 0;
    if (goes(places.first)) {
      if (!places.others || places.others->empty()) {
        places_.erase(entry);
        continue;
      }
      places.first = places.others->extract(places.others->begin()).value();
      SetPreferred(places.first, true);
      removed = true;
    }
    if (!removed) continue;
    auto node = places_.extract(entry);  // its key may be that of the place that went
    node.key() = node.mapped().first.id;
    places_.insert(std::move(node));
  }
}

}  // namespace kelo
