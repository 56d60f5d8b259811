// Placing the account's folders and albums.
#include "host/download/AccountFolders.h"

#include <algorithm>
#include <iterator>

#include "host/account/AccountWalk.h"
#include "host/download/ItemFile.h"
#include "host/names/Names.h"

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
    : library_(library), paths_(paths), to_(to) {
  Place(library_.List(kRoot, Kind::Folder | Kind::Album), to);
  auto friends = library_.List(kEverything, Kind::FriendAlbum);
  if (!friends.empty()) Place(std::move(friends), paths_.Take(to / kFriends, Named::kFolder));
  // What is in nothing that can be looked at.
  auto others = library_.List(kEverything, Kind::Folder | Kind::Album);
  std::erase_if(others, [this](const Item& entry) { return folders_.contains(entry.id); });
  Place(std::move(others), to);
}

const fs::path& AccountFolders::Of(const Item& album) {
  const auto known = folders_.find(album.id);
  if (known != folders_.end()) return known->second;
  Place({album}, to_);
  return folders_.at(album.id);
}

void AccountFolders::Place(std::vector<Item> siblings, const fs::path& below) {
  // The service's order changes with every upload.
  std::ranges::sort(siblings, {}, Id);
  std::vector<fs::path> wanted;
  for (const auto& entry : siblings) wanted.push_back(below / FolderName(entry));
  const auto given = paths_.Give(wanted, Named::kFolder,
                                 [&](std::size_t at) { return MarksOf(siblings[at], ""); });
  for (std::size_t at = 0; at < siblings.size(); ++at) {
    folders_.emplace(siblings[at].id, given[at].path);
    if (siblings[at].kind == Kind::Folder)
      Place(ContentsOf(library_, siblings[at]).entries, given[at].path);
  }
}

std::vector<PathGiver::Mark> AccountFolders::MarksOf(const Item& entry, const std::string& below) {
  std::vector<PathGiver::Mark> marks;
  for (const Item& child : ContentsOf(library_, entry).entries)
    if (entry.kind != Kind::Folder)
      marks.push_back({below + ItemFileName(child), ItemDate(child)});
    else
      std::ranges::move(MarksOf(child, FolderName(child) + "/"), std::back_inserter(marks));
  return marks;
}

}  // namespace kelo::host
