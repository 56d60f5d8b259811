// Asks the library what lies where, and leaves out what cannot lie there.
#include "host/account/AccountTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>

#include "host/account/EntryJson.h"
#include "host/names/EntryWords.h"

namespace kelo::host {

EntryKey KeyOf(const Item& entry) {
  const bool whole = entry.id.size() + 1 < KELO_ID_FIELD_SIZE;
  return whole ? EntryKey(entry.id, "", "") : EntryKey(entry.id, entry.name, entry.originalUrl);
}

PlaceContents AccountTree::ContentsOf(const Item& container) const {
  // The library gives these ids a meaning of their own.
  if (container.id.empty() || container.id == kEverything)
    return {.problem = "its id is empty or reserved"};
  PlaceContents contents;
  const Kind below = container.kind == Kind::Folder ? Kind::Album : Kind::FileItem;
  try {
    contents.entries = library_.List(container.id, below);
  } catch (const Error& failure) {
    if (failure.Code() != kKELOResult_InvalidTarget) throw;
    return {.problem = "the library does not find its id"};
  }
  const auto strays = std::ranges::stable_partition(
      contents.entries, [&](const Item& entry) { return Is(entry.kind, below); });
  std::ranges::move(strays, std::back_inserter(contents.strays));
  contents.entries.erase(strays.begin(), strays.end());
  return contents;
}

std::vector<AccountPlace> AccountTree::Places() const {
  std::vector<AccountPlace> places = {{library_.Info(kRootAlbum)}};
  for (Item& entry : library_.List(kEverything, Kind::Folder | Kind::Album | Kind::FriendAlbum))
    places.push_back({std::move(entry)});
  std::map<std::string_view, const Item*> folders;
  for (const AccountPlace& place : places)
    if (place.entry.kind == Kind::Folder) folders.emplace(place.entry.id, &place.entry);
  for (AccountPlace& place : std::span(places).subspan(1))
    if (const auto folder = folders.find(place.entry.parentId); folder != folders.end())
      place.folder = folder->second;
  return places;
}

std::vector<Item> AccountTree::Below(const Item& container) {
  const auto [known, isNew] = entered_.try_emplace(container.id, container.name);
  if (!isNew) {
    if (known->second == container.name)
      Tell(container, "listed before; its content is not repeated");
    else
      LeaveOut(container, "another entry has the same id");
    return {};
  }
  PlaceContents contents = ContentsOf(container);
  if (!contents.problem.empty()) LeaveOut(container, contents.problem);
  for (const Item& stray : contents.strays) {
    LeaveOut(stray, fmt::format("the {} {} [{}] cannot hold it", KindText(container.kind),
                                EntryName(container), EntryId(container)));
  }
  return Met(std::move(contents.entries));
}

std::vector<Item> AccountTree::Top() {
  return Met(library_.List(kRoot, Kind::RootAlbum | Kind::Folder | Kind::Album));
}

std::vector<Item> AccountTree::Friends() {
  return Met(library_.List(kEverything, Kind::FriendAlbum));
}

std::vector<Item> AccountTree::Others() {
  std::vector<Item> others = library_.List(kEverything, Kind::Folder | Kind::Album);
  std::erase_if(others, [this](const Item& entry) { return !met_.insert(entry.id).second; });
  return others;
}

std::vector<Item> AccountTree::Met(std::vector<Item> entries) {
  for (const Item& entry : entries)
    if (IsContainer(entry)) met_.insert(entry.id);
  return entries;
}

void AccountTree::LeaveOut(const Item& entry, const std::string& why) {
  ++leftOut_;
  Tell(entry, "left out: " + why);
}

void AccountTree::Tell(const Item& entry, const std::string& why) const {
  if (!tells_) return;
  Output& out = library_.Out();
  out.Problem(fmt::format("{} [{}]: {}", EntryName(entry), EntryId(entry), why));
  if (!out.IsJson()) return;
  Json json = EntryJson(entry);
  json["leftOut"] = why;
  out.Result("", json);
}

}  // namespace kelo::host
