// Where each id of the cached hierarchy stands.
#include "catalogue/HierarchyIndex.h"

#include <utility>

namespace kelo {

void HierarchyIndex::Add(std::string_view id, const HierarchyPlace& place) {
  const auto [entry, added] = places_.try_emplace(id, Places{place, nullptr});
  if (added) return;
  Places& places = entry->second;
  HierarchyPlace later = place;
  if (later < places.first) std::swap(later, places.first);
  if (!places.others) places.others = std::make_unique<std::set<HierarchyPlace>>();
  places.others->insert(later);
}

}  // namespace kelo
