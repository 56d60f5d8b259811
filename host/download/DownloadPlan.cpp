// Collects the albums and items that are wanted, and gives each file its place on disk.
#include "host/download/DownloadPlan.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <tuple>

#include "host/account/AccountTree.h"
#include "host/download/ItemFile.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFriends = "Friends' albums";

// False also where that cannot be told: writing there will show why.
bool StandsThere(const fs::path& path) {
  std::error_code failed;
  const fs::file_type type = fs::symlink_status(path, failed).type();
  return type != fs::file_type::not_found && type != fs::file_type::none;
}

std::string FolderName(const Item& entry) {
  return FileName(entry.name, entry.id);
}

// The account's folders and albums as folders on disk. All get a path below `to`, wanted or not, so
// that a path does not depend on what else is downloaded.
class AccountFolders {
 public:
  AccountFolders(Library& library, PathGiver& paths, const fs::path& to)
      : tree_(library, AccountTree::Tells::kNo), paths_(paths), to_(to) {
    std::vector<Item> top = tree_.Top();
    std::erase_if(top, [](const Item& entry) { return entry.kind == Kind::RootAlbum; });
    Place(std::move(top), to);
    std::vector<Item> friends = tree_.Friends();
    if (!friends.empty()) Place(std::move(friends), paths_.Take(to / kFriends, Named::kFolder));
    Place(tree_.Others(), to);
  }

  // The path of an album.
  const fs::path& Of(const Item& album) {
    if (!folders_.contains(album.id)) Place({album}, to_);
    return folders_.at(album.id);
  }

 private:
  void Place(std::vector<Item> siblings, const fs::path& below) {
    // The service's order changes with every upload.
    std::ranges::sort(siblings, {}, [](const Item& entry) { return std::string_view(entry.id); });
    std::vector<fs::path> wanted;
    for (const auto& entry : siblings) wanted.push_back(below / FolderName(entry));
    const auto given =
        paths_.Give(wanted, Named::kFolder, [&](size_t at) { return MarksOf(siblings[at], ""); });
    for (size_t at = 0; at < siblings.size(); ++at) {
      folders_.emplace(siblings[at].id, given[at].path);
      if (siblings[at].kind == Kind::Folder) PlaceAlbums(siblings[at], given[at].path);
    }
  }

  // An album of its folder's own name holds what lies in the folder itself. `put` makes such an
  // album of the files beside folders.
  void PlaceAlbums(const Item& folder, const fs::path& path) {
    std::vector<Item> albums = tree_.Below(folder);
    if (const auto own = OwnAlbum(folder, albums, path); own != albums.end()) {
      folders_.emplace(own->id, path);
      albums.erase(own);
    }
    Place(std::move(albums), path);
  }

  // Of several, the one whose files lie there. None where one of its files would have the place of
  // another album's folder.
  std::vector<Item>::iterator OwnAlbum(const Item& folder, std::vector<Item>& albums,
                                       const fs::path& path) const {
    std::map<std::string, int> names;
    for (const Item& album : albums) ++names[FolderName(album)];
    const std::string ownName = FolderName(folder);
    --names[ownName];
    auto first = albums.end();
    for (auto album = albums.begin(); album != albums.end(); ++album) {
      if (FolderName(*album) != ownName) continue;
      const std::vector<Item> items = tree_.ContentsOf(*album).entries;
      const auto collides = [&](const Item& item) {
        const auto found = names.find(ItemFileName(item));
        return found != names.end() && found->second > 0;
      };
      const auto isHere = [&](const Item& item) {
        return IsFileOf(path / ItemFileName(item), ItemDate(item));
      };
      if (std::ranges::any_of(items, collides)) continue;
      if (std::ranges::any_of(items, isHere)) return album;
      if (first == albums.end() || album->id < first->id) first = album;
    }
    return first;
  }

  // The files in an entry's folder.
  std::vector<PathGiver::Mark> MarksOf(const Item& entry, const std::string& below) const {
    std::vector<PathGiver::Mark> marks;
    for (const Item& child : tree_.ContentsOf(entry).entries)
      if (entry.kind != Kind::Folder)
        marks.push_back({below + ItemFileName(child), ItemDate(child)});
      else
        for (const std::string& place : PlacesOf(child, entry))
          std::ranges::move(MarksOf(child, place), std::back_inserter(marks));
    return marks;
  }

  // Where in its folder an album may be.
  static std::vector<std::string> PlacesOf(const Item& album, const Item& folder) {
    std::vector<std::string> places = {FolderName(album) + "/"};
    if (FolderName(album) == FolderName(folder)) places.emplace_back();
    return places;
  }

  AccountTree tree_;
  PathGiver& paths_;
  const fs::path to_;
  std::map<std::string, fs::path> folders_;  // by id
};

class Planner {
 public:
  Planner(Library& library, const Filter& filter, const fs::path& to)
      : library_(library), filter_(filter), tree_(library) {
    plan_.to = to;
  }

  void Add(const Item& entry) {
    if (!IsContainer(entry))
      loose_.push_back(entry);
    else if (entry.kind != Kind::Folder)
      AddAlbums({entry});
    else if (IsNew(entry))
      AddAlbums(tree_.Below(entry));
    // An album goes to the same place, however many others its folder has.
    asInAccount_ = asInAccount_ || entry.kind == Kind::Folder;
  }

  void AddAll() {
    for (const auto& entry : tree_.Top()) Add(entry);
    for (const auto& entry : tree_.Friends()) Add(entry);
    for (const auto& entry : tree_.Others()) Add(entry);
    asInAccount_ = true;
  }

  DownloadPlan Finish() {
    const bool straight = !asInAccount_ && loose_.empty() && albums_.size() == 1;
    AddFiles(loose_, plan_.to);
    if (straight) {
      AddFilesOf(albums_.front(), plan_.to);
    } else if (!albums_.empty()) {
      AccountFolders folders(library_, plan_.paths, plan_.to);
      for (const Item& album : albums_)
        AddFilesOf(album, album.kind == Kind::RootAlbum ? plan_.to : folders.Of(album));
    }
    GivePaths();
    // Only now, so that a path does not depend on the filter.
    plan_.filteredOut = std::erase_if(plan_.files, [this](const PlannedDownload& file) {
      return !filter_.TakesName(file.wanted.lexically_relative(plan_.to)) ||
             !filter_.TakesDate(file.shown);
    });
    plan_.leftOut = tree_.LeftOutCount();
    return std::move(plan_);
  }

 private:
  void AddAlbums(const std::vector<Item>& albums) {
    for (const auto& album : albums)
      if (IsNew(album)) albums_.push_back(album);
  }

  bool IsNew(const Item& entry, const fs::path& folder = {}) {
    return seen_.emplace(KeyOf(entry), folder.string()).second;
  }

  void AddFilesOf(const Item& album, const fs::path& folder) {
    AddFiles(tree_.Below(album), folder);
  }

  // Of one name in the order of their dates, so that what comes later gets the higher number.
  void AddFiles(std::vector<Item> items, const fs::path& folder) {
    std::ranges::stable_sort(items, {}, [](const Item& item) {
      return std::tie(item.raw.name, item.uploadDate, item.id);
    });
    for (const auto& item : items) {
      if (!IsNew(item, folder)) continue;
      plan_.files.push_back({.itemId = std::string(item.id),
                             .name = Composed(item.name),
                             .url = item.originalUrl,
                             .wanted = folder / ItemFileName(item),
                             .path = {},
                             .modified = ItemDate(item),
                             .shown = ShownDate(item)});
    }
  }

  void GivePaths() {
    std::vector<fs::path> wanted;
    for (const PlannedDownload& file : plan_.files) wanted.push_back(file.wanted);
    auto given = plan_.paths.Give(wanted, Named::kFile, [&](size_t at) {
      return std::vector<PathGiver::Mark>{{"", plan_.files[at].modified}};
    });
    for (size_t at = 0; at < given.size(); ++at) {
      PlannedDownload& file = plan_.files[at];
      file.path = std::move(given[at].path);
      file.standing = given[at].isHere ? Standing::kThisOne : Standing::kNothing;
      if (!given[at].isHere && StandsThere(file.path)) file.standing = Standing::kOther;
    }
  }

  Library& library_;
  const Filter& filter_;
  AccountTree tree_;
  DownloadPlan plan_;
  std::vector<Item> loose_;
  std::vector<Item> albums_;
  std::set<std::pair<EntryKey, std::string>> seen_;  // with the folders that items go to
  bool asInAccount_ = false;
};

}  // namespace

DownloadPlan PlanDownload(Library& library, const Wanted& wanted, const fs::path& to) {
  Planner planner(library, wanted.filter, to);
  if (wanted.all) planner.AddAll();
  for (const auto& entry : wanted.entries) planner.Add(entry);
  return planner.Finish();
}

}  // namespace kelo::host
