// Restoring the session, and finding what a person named.
#include "Host.h"

#include <fmt/format.h>

#include "Names.h"
#include "Records.h"
#include "ResultText.h"

namespace kelo::host {

Library& Host::WithSession() {
  if (!restored_) {
    const StoredSession stored = StateFile().Load();
    library_.SetSession(stored.session, stored.secret);
    restored_ = true;
  }
  return library_;
}

Library& Host::Loaded() {
  WithSession();
  if (!loaded_) library_.LoadHierarchy();
  loaded_ = true;
  return library_;
}

tagKELO_ItemInfo FindEntry(Library& library, const std::string& wanted) {
  if (wanted == "root") return library.Info(KELO_ROOT_ALBUM_ID);
  if (wanted.empty()) throw Failure("an empty name names nothing");
  if (wanted.size() < KELO_ID_FIELD_SIZE) {
    try {
      return library.Info(wanted);
    } catch (const CommandFailure& failure) {
      if (failure.Code() != kKELOResult_BadParameter) throw;  // otherwise: no id of anything
    }
  }
  std::vector<tagKELO_ItemInfo> matches;
  for (const tagKELO_ItemInfo& entry :
       library.List(KELO_ALL_ITEMS_ID, kKELOKind_Folder | kKELOKind_Album | kKELOKind_FriendAlbum))
    if (Resolved(FieldText(entry.name)) == wanted) matches.push_back(entry);
  const std::string shown = Shown(wanted);
  if (matches.empty())
    throw Failure(fmt::format("there is nothing with the id or name '{}'", shown));
  if (matches.size() == 1) return matches.front();
  std::string ids;
  for (const auto& match : matches) ids += "\n  " + Shown(FieldText(match.itemId));
  throw Failure(
      fmt::format("'{}' names {} folders or albums; use an id:{}", shown, matches.size(), ids));
}

tagKELO_ItemInfo FindAlbum(Library& library, const std::string& wanted) {
  const tagKELO_ItemInfo entry = FindEntry(library, wanted);
  if ((entry.kind & (kKELOKind_Album | kKELOKind_RootAlbum | kKELOKind_FriendAlbum)) == 0)
    throw Failure(fmt::format("'{}' is not an album", Shown(wanted)));
  return entry;
}

}  // namespace kelo::host
