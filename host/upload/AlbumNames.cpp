// The rule of folders, and the account's folders and albums by name.
#include "host/upload/AlbumNames.h"

#include <fmt/format.h>

#include <vector>

#include "host/names/CatalogueNames.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {

std::string AlbumName::Words() const {
  return Shown(folder.empty() ? album : folder + "/" + album);
}

AlbumName AlbumOfFile(const std::filesystem::path& below, bool holdsFolders) {
  std::vector<std::string> names;
  for (const std::filesystem::path& part : below) names.push_back(part.string());
  if (names.size() < 2) return {};
  if (!holdsFolders) return {.folder = {}, .album = names[0]};
  return {.folder = names[0], .album = names[names.size() == 2 ? 0 : 1]};
}

AlbumShelf::Ids& AlbumShelf::Children(const std::string& folderId, Kind kind) {
  const auto known = children_.find({folderId, kind});
  if (known != children_.end()) return known->second;
  Ids ids;
  std::vector<Item> entries = library_.List(folderId, kind);
  std::erase_if(entries, [&](const Item& e) { return !Is(e.kind, kind) || e.id.empty(); });
  for (const Item& entry : entries) ids.emplace(CatalogueName(entry.name), entry.id);
  // By the folder that `get` makes of it, where no other has that name.
  for (const Item& entry : entries)
    ids.emplace(CatalogueName(FileName(entry.name, entry.id)), entry.id);
  return children_.emplace(std::pair(folderId, kind), std::move(ids)).first->second;
}

std::string AlbumShelf::Find(const AlbumName& name) {
  const auto idIn = [](const Ids& ids, const std::string& wanted) {
    const auto found = ids.find(CatalogueName(wanted));
    return found == ids.end() ? std::string() : found->second;
  };
  std::string folder;
  if (!name.folder.empty()) {
    folder = idIn(Children("", Kind::Folder), name.folder);
    if (folder.empty()) return {};
  }
  return idIn(Children(folder, Kind::Album), name.album);
}

std::string AlbumShelf::FindOrMake(const AlbumName& name) {
  if (std::string id = Find(name); !id.empty()) return id;
  std::string folder;
  if (!name.folder.empty()) {
    const Ids& folders = Children("", Kind::Folder);
    const auto found = folders.find(CatalogueName(name.folder));
    folder = found != folders.end() ? found->second : Make("", Kind::Folder, name.folder);
  }
  return Make(folder, Kind::Album, name.album);
}

std::string AlbumShelf::Make(const std::string& folderId, Kind kind, const std::string& name) try {
  std::string id =
      kind == Kind::Folder ? library_.AddFolder(name) : library_.AddAlbum(folderId, name);
  Children(folderId, kind).emplace(CatalogueName(name), id);
  return id;
} catch (const CommandFailure& failure) {
  throw CommandFailure(fmt::format("create '{}'", Shown(name)), failure.Code(), failure.Command());
}

}  // namespace kelo::host
