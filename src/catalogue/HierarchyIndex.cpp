// Where each id of the cached hierarchy stands.
#include "catalogue/HierarchyIndex.h"

#include <utility>

namespace kelo {
namespace {

void SetPreferred(const HierarchyPlace& place, bool preferred) {
  if (place.file) place.file->preferred = preferred;
}

}  // namespace

void HierarchyIndex::Add(std::string_view id, const HierarchyPlace& place) {
  const auto [entry, added] = places_.try_emplace(id, Places{place, nullptr});
  Places& places = entry->second;
  if (!added) {
    SetPreferred(places.first, false);
    SetPreferred(place, false);
    HierarchyPlace later = place;
    if (later < places.first) std::swap(later, places.first);
    if (!places.others) places.others = std::make_unique<std::set<HierarchyPlace>>();
    places.others->insert(later);
  }
  SetPreferred(places.first, true);
}

void HierarchyIndex::Clear() {
  places_.clear();
  Add(kRootAlbumID, {.kind = HierarchyPlace::Kind::RootAlbum});
}

}  // namespace kelo
