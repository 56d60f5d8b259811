// Looks items up one by one, and lists an album the first time that somebody asks for it.
#include "host/account/AccountItems.h"

#include <algorithm>
#include <utility>

#include "host/account/AccountTree.h"

namespace kelo::host {
namespace {

// What cannot be had is none: an id that is no entry's, or that of an album which is yet to be
// made.
template <typename Call>
auto IfAny(const Call& call) -> std::optional<decltype(call())> {
  try {
    return call();
  } catch (const Error& failure) {
    if (failure.Code() == kKELOResult_Aborted) throw;
    return std::nullopt;
  }
}

}  // namespace

// A record as it is: to make an Item of it takes longer than to look it up.
std::optional<tagKELO_ItemInfo> AccountItems::Find(const std::string& id) {
  if (id.size() + 1 >= KELO_ID_FIELD_SIZE) return std::nullopt;
  return IfAny([&] { return library_.InfoRecord(id); });
}

bool AccountItems::IsOwnAlbum(const std::string& id) {
  const auto [known, isNew] = isOwnAlbum_.try_emplace(id);
  if (isNew) {
    const auto album = Find(id);
    const Kind kind = album ? static_cast<Kind>(album->kind) : Kind::None;
    known->second = Is(kind, Kind::Album) || kind == Kind::RootAlbum;
  }
  return known->second;
}

std::optional<std::string> AccountItems::NameOf(const std::string& id) {
  const auto item = Find(id);
  if (!item || !Is(static_cast<Kind>(item->kind), Kind::FileItem) ||
      !IsOwnAlbum(std::string(FieldText(item->parentId))))
    return std::nullopt;
  return std::string(FieldText(item->name));
}

const AccountItems::Ids& AccountItems::IdsIn(const std::string& albumId) {
  const auto [known, isNew] = idsIn_.try_emplace(albumId);
  if (isNew)
    if (const auto items = IfAny([&] { return library_.ListRecords(albumId, Kind::FileItem); }))
      for (const tagKELO_ItemInfo& item : *items)
        known->second.emplace(FieldText(item.name), FieldText(item.itemId));
  return known->second;
}

const std::vector<std::string>& AccountItems::Albums() {
  if (albums_.empty())
    for (const AccountPlace& place : AccountTree(library_, AccountTree::Tells::kNo).Places())
      if (IsOwnAlbum(place.entry.id)) albums_.push_back(place.entry.id);
  return albums_;
}

bool AccountItems::IsIn(const std::string& id, const std::string& albumId) {
  // To list an album takes much memory, and few items are in more than one.
  const auto item = Find(id);
  if (!item || FieldText(item->parentId) == albumId) return item.has_value();
  const auto [first, last] = IdsIn(albumId).equal_range(std::string(FieldText(item->name)));
  return std::any_of(first, last, [&](const auto& named) { return named.second == id; });
}

std::vector<std::string> AccountItems::Beside(const std::string& id,
                                              const std::vector<std::string>& names) {
  const auto item = Find(id);
  if (!item) return {};
  // To list the others takes longer.
  std::vector<std::string> ids = In(std::string(FieldText(item->parentId)), names);
  for (const std::string& album : ids.empty() ? Albums() : std::vector<std::string>())
    if (IsIn(id, album)) std::ranges::copy(In(album, names), std::back_inserter(ids));
  return ids;
}

std::vector<std::string> AccountItems::In(const std::string& albumId,
                                          const std::vector<std::string>& names) {
  if (albumId.empty()) return Albums().empty() ? Albums() : In(Albums().front(), names);
  const Ids& all = IdsIn(albumId);
  std::vector<std::string> ids;
  for (const std::string& name : names) {
    const auto [first, last] = all.equal_range(name);
    for (auto each = first; each != last; ++each) ids.push_back(each->second);
  }
  return ids;
}

std::set<std::string> AccountItems::Called(const std::vector<std::string>& names) {
  std::set<std::string> ids;
  for (const std::string& album : Albums())
    for (std::string& id : In(album, names)) ids.insert(std::move(id));
  return ids;
}

}  // namespace kelo::host
