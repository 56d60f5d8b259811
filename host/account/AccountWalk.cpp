// The rules of what may lie where.
#include "host/account/AccountWalk.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/account/EntryJson.h"
#include "host/names/EntryWords.h"
#include "host/names/ResultText.h"

namespace kelo::host {

Contents ContentsOf(Library& library, const Item& container) {
  // As targets, these ask for something else.
  if (container.id.empty() || container.id == kEverything) return {.problem = "its id is reserved"};
  Contents contents;
  const Kind below = container.kind == Kind::Folder ? Kind::Album : Kind::FileItem;
  try {
    contents.entries = library.List(container.id, below);
  } catch (const CommandFailure& failure) {
    if (failure.Code() != kKELOResult_InvalidTarget) throw;
    contents.problem = "nothing is known by its id";
    return contents;
  }
  const auto strays = std::ranges::stable_partition(
      contents.entries, [&](const Item& entry) { return Is(entry.kind, below); });
  std::ranges::move(strays, std::back_inserter(contents.strays));
  contents.entries.erase(strays.begin(), strays.end());
  return contents;
}

EntryKey KeyOf(const Item& entry) {
  const bool whole = entry.id.size() + 1 < KELO_ID_FIELD_SIZE;
  return whole ? EntryKey(entry.id, "", "") : EntryKey(entry.id, entry.name, entry.originalUrl);
}

std::vector<Item> AccountWalk::Below(const Item& container) {
  const auto [known, isNew] = entered_.try_emplace(container.id, container.name);
  if (!isNew) {
    if (known->second == container.name)
      Tell(container, "not once more: what it holds was there before");
    else
      LeaveOut(container, "its id is that of another");
    return {};
  }
  Contents contents = ContentsOf(library_, container);
  if (!contents.problem.empty()) LeaveOut(container, contents.problem);
  for (const Item& stray : contents.strays) {
    LeaveOut(stray, fmt::format("it cannot be in the {} {} [{}]", KindText(container.kind),
                                EntryName(container), EntryId(container)));
  }
  return Met(std::move(contents.entries));
}

std::vector<Item> AccountWalk::Top() {
  return Met(library_.List(kRoot, Kind::RootAlbum | Kind::Folder | Kind::Album));
}

std::vector<Item> AccountWalk::Friends() {
  return Met(library_.List(kEverything, Kind::FriendAlbum));
}

std::vector<Item> AccountWalk::Others() {
  std::vector<Item> others = library_.List(kEverything, Kind::Folder | Kind::Album);
  std::erase_if(others, [this](const Item& entry) { return !met_.insert(entry.id).second; });
  return others;
}

std::vector<Item> AccountWalk::Met(std::vector<Item> entries) {
  for (const Item& entry : entries)
    if (IsContainer(entry)) met_.insert(entry.id);
  return entries;
}

void AccountWalk::LeaveOut(const Item& entry, const std::string& why) {
  ++leftOut_;
  Tell(entry, "left out: " + why);
}

void AccountWalk::Tell(const Item& entry, const std::string& why) const {
  Output& out = library_.Out();
  out.Problem(fmt::format("{} [{}]: {}", EntryName(entry), EntryId(entry), why));
  if (!out.IsJson()) return;
  Json json = EntryJson(entry);
  json["leftOut"] = why;
  out.Result("", json);
}

}  // namespace kelo::host
