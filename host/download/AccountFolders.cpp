// Placing the account's folders and albums.
#include "host/download/AccountFolders.h"

#include <algorithm>

#include "host/account/Names.h"
#include "host/download/ItemFile.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFriends = "Friends' albums";

std::string_view Id(const Item& entry) {
  return entry.id;
}

std::string FolderName(const Item& entry) {
  return FileName(entry.name, entry.id);
}

}  // namespace

AccountFolders::AccountFolders(Library& library, PathGiver& paths, const fs::path& to)
    : library_(library), paths_(paths) {
  Place(library_.List(kRoot, Kind::Folder | Kind::Album), to);
  auto friends = library_.List(kEverything, Kind::FriendAlbum);
  if (!friends.empty()) Place(std::move(friends), paths_.Take(to / kFriends, Named::kFolder));
}

const fs::path& AccountFolders::Of(std::string_view albumId) const {
  return folders_.find(albumId)->second;
}

void AccountFolders::Place(std::vector<Item> siblings, const fs::path& below) {
  // The service's order changes with every upload.
  std::ranges::sort(siblings, {}, Id);
  std::vector<fs::path> wanted;
  for (const auto& entry : siblings) wanted.push_back(below / FolderName(entry));
  const auto given = paths_.Give(wanted, Named::kFolder, [&](std::size_t at, const fs::path& path) {
    return HoldsSomeOf(siblings[at], path);
  });
  for (std::size_t at = 0; at < siblings.size(); ++at) {
    const std::string_view id = Id(siblings[at]);
    if (siblings[at].kind == Kind::Folder)
      Place(library_.List(id, Kind::Album), given[at].path);
    else
      folders_.emplace(id, given[at].path);
  }
}

bool AccountFolders::HoldsSomeOf(const Item& entry, const fs::path& folder) {
  std::error_code failed;
  if (!fs::is_directory(folder, failed)) return false;
  const bool isFolder = entry.kind == Kind::Folder;
  const auto below = library_.List(Id(entry), isFolder ? Kind::Album : Kind::FileItem);
  return std::ranges::any_of(below, [&](const Item& child) {
    return isFolder ? HoldsSomeOf(child, folder / FolderName(child))
                    : IsFileOf(folder / ItemFileName(child), ItemDate(child));
  });
}

}  // namespace kelo::host
