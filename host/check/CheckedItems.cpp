// Walks the entries to their items, and notes where each of them lies.
#include "host/check/CheckedItems.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/names/CatalogueNames.h"
#include "host/names/Dates.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

std::string PlacePath(const AccountPlace& place) {
  const bool isRoot = place.entry.kind == Kind::RootAlbum;
  return (place.folder == nullptr ? "" : Composed(place.folder->name) + "/") +
         (isRoot ? "root" : Composed(place.entry.name));
}

}  // namespace

CheckedItems::CheckedItems(Library& library, const std::vector<Item>& entries, const Filter& filter,
                           bool misses)
    : library_(library),
      filter_(filter),
      areAll_(entries.empty()),
      misses_(misses),
      tree_(library, misses ? AccountTree::Tells::kYes : AccountTree::Tells::kNo) {
  for (const AccountPlace& place : tree_.Places())
    places_.emplace(place.entry.id, PlacePath(place));
  for (const Item& entry : areAll_ ? tree_.Top() : entries) Add(entry);
  if (!areAll_) return;
  for (const Item& entry : tree_.Others()) Add(entry);
}

void CheckedItems::Add(const Item& entry) {
  if (!IsContainer(entry)) return AddItem(entry, entry.parentId);
  if (!entered_.emplace(entry.id, entry.name).second) return;  // named twice, or in a named folder
  for (const Item& child : tree_.Below(entry))
    if (IsContainer(child))
      Add(child);
    else
      AddItem(child, entry.id);
}

void CheckedItems::AddItem(const Item& item, const std::string& place) {
  if (item.id.empty() || item.id.size() + 1 >= KELO_ID_FIELD_SIZE) {
    ++nameless_;
    if (misses_)
      library_.Out().Problem(
          fmt::format("{} [{}]: left out: its id is not whole", EntryName(item), EntryId(item)));
    return;
  }
  if (!byId_.emplace(item.id, items_.size()).second) return;
  byName_.emplace(item.raw.name, items_.size());
  CheckedItem& added =
      items_.emplace_back(CheckedItem{.id = item.id, .name = item.raw.name, .place = place});
  added.isMet = !filter_.TakesName(PathOf(added)) ||
                !filter_.TakesDate(ShownSeconds(item.modifyDate, DateClock::kUniversal));
}

CheckedItem* CheckedItems::Find(const std::string& id) {
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : &items_[found->second];
}

std::vector<CheckedItem*> CheckedItems::CalledLike(const std::string& fileName) {
  std::vector<size_t> found;
  for (const std::string& name : CatalogueNamesOf(fileName)) {
    const auto [first, last] = byName_.equal_range(name);
    for (auto at = first; at != last; ++at)
      if (std::ranges::count(found, at->second) == 0) found.push_back(at->second);
  }
  std::ranges::sort(found);
  std::vector<CheckedItem*> items;
  for (const size_t at : found) items.push_back(&items_[at]);
  return items;
}

std::string CheckedItems::PathOf(const CheckedItem& item) const {
  const auto place = places_.find(item.place);
  const std::string name = Composed(Decoded(item.name));
  return place == places_.end() ? name : place->second + "/" + name;
}

}  // namespace kelo::host
