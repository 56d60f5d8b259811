// Says which album a local folder stands for, and finds or makes that album in the account.
#include "host/upload/Albums.h"

#include <fmt/format.h>

#include <iterator>
#include <vector>

#include "host/account/Find.h"
#include "host/names/CatalogueNames.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {

AlbumName AlbumOfFolder(const std::filesystem::path& below, bool holdsFolders) {
  if (below.empty()) return {};
  const std::string first = below.begin()->string();
  const auto second = std::next(below.begin());
  if (second != below.end()) return {.folder = first, .album = second->string()};
  return {.folder = holdsFolders ? first : "", .album = first};
}

AlbumName Albums::Meant(const std::string& words) {
  const std::string wanted = WithoutEndSlash(words);
  if (wanted.empty() || wanted == "root") return {};
  if (const auto found = FindAlbumIfAny(loaded_(), wanted)) {
    AlbumName name{.folder = {}, .album = Composed(found->name)};
    ids_[name] = found->id;
    return name;
  }
  const size_t slash = wanted.find('/');
  if (slash == std::string::npos) return {.folder = {}, .album = wanted};
  const AlbumName name{.folder = wanted.substr(0, slash), .album = wanted.substr(slash + 1)};
  if (name.album.find('/') != std::string::npos)
    throw Failure(fmt::format(
        "'{}' is no album and cannot be made: an album lies at the top or in a folder there; 'kelo "
        "mkalbum --force' makes one with a slash in its name",
        Shown(words)));
  return name;
}

std::string Albums::Id(const AlbumName& name) {
  if (const auto known = ids_.find(name); known != ids_.end()) return known->second;
  if (const auto known = failed_.find(name); known != failed_.end()) throw known->second;
  try {
    return ids_[name] = FindOrMake(name);
  } catch (const Error& failure) {
    if (failure.Code() == kKELOResult_Aborted) throw;
    out_.Problem(Sentence(failure));
    failed_.emplace(name, failure);
    throw;
  }
}

std::string Albums::FindOrMake(const AlbumName& name) {
  std::string folder;
  if (!name.folder.empty()) folder = Find("", Kind::Folder, name.folder);
  const bool folderIsMissing = !name.folder.empty() && folder.empty();
  std::string id = folderIsMissing ? "" : Find(folder, Kind::Album, name.album);
  // An album of its folder's name, which a download puts straight into that folder.
  if (const auto own = id.empty() && name.folder.empty() ? Find("", Kind::Folder, name.album) : "";
      !own.empty())
    id = Find(own, Kind::Album, name.album);
  if (!id.empty()) return id;
  if (!dryRun_) {
    if (folderIsMissing) folder = Make("", Kind::Folder, name.folder);
    id = Make(folder, Kind::Album, name.album);
  }
  out_.Note(fmt::format("the album {} {} made", name.Words(), dryRun_ ? "would be" : "was"));
  return id;
}

Albums::Ids& Albums::Children(const std::string& folderId, Kind kind) {
  const auto known = children_.find({folderId, kind});
  if (known != children_.end()) return known->second;
  Ids ids;
  std::vector<Item> entries = loaded_().List(folderId, kind);
  std::erase_if(entries, [&](const Item& e) { return !Is(e.kind, kind) || e.id.empty(); });
  for (const Item& entry : entries) ids.emplace(CatalogueName(entry.name), entry.id);
  // By the folder that `get` makes of it, where no other has that name.
  for (const Item& entry : entries)
    ids.emplace(CatalogueName(FileName(entry.name, entry.id)), entry.id);
  return children_.emplace(std::pair(folderId, kind), std::move(ids)).first->second;
}

std::string Albums::Find(const std::string& folderId, Kind kind, const std::string& name) {
  const Ids& ids = Children(folderId, kind);
  const auto found = ids.find(CatalogueName(name));
  return found == ids.end() ? std::string() : found->second;
}

std::string Albums::Make(const std::string& folderId, Kind kind, const std::string& name) try {
  Library& library = loaded_();
  std::string id =
      kind == Kind::Folder ? library.AddFolder(name) : library.AddAlbum(folderId, name);
  Children(folderId, kind).emplace(CatalogueName(name), id);
  return id;
} catch (const Error& failure) {
  throw Error(fmt::format("create '{}'", Shown(name)), failure.Code(), failure.Command());
}

}  // namespace kelo::host
