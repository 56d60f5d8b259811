// From entries to files.
#include "host/download/DownloadPlan.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <tuple>

#include "host/account/AccountWalk.h"
#include "host/download/AccountFolders.h"
#include "host/download/ItemFile.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

// What cannot be looked at shows its reason when it is written to.
bool StandsThere(const fs::path& path) {
  std::error_code failed;
  const fs::file_type type = fs::symlink_status(path, failed).type();
  return type != fs::file_type::not_found && type != fs::file_type::none;
}

class Planner {
 public:
  Planner(Library& library, const fs::path& to) : library_(library), walk_(library) {
    plan_.to = to;
  }

  void Add(const Item& entry) {
    if (!IsContainer(entry))
      loose_.push_back(entry);
    else if (entry.kind != Kind::Folder)
      AddAlbums({entry});
    else if (IsNew(entry))
      AddAlbums(walk_.Below(entry));
    // The place of an album must not hang on how many more its folder has.
    asInAccount_ = asInAccount_ || entry.kind == Kind::Folder;
  }

  void AddAll() {
    for (const auto& entry : walk_.Top()) Add(entry);
    for (const auto& entry : walk_.Friends()) Add(entry);
    for (const auto& entry : walk_.Others()) Add(entry);
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
    plan_.leftOut = walk_.LeftOut();
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
    AddFiles(walk_.Below(album), folder);
  }

  // Of one name in the order of their dates, so that what comes later gets the higher number.
  void AddFiles(std::vector<Item> items, const fs::path& folder) {
    std::ranges::stable_sort(items, {}, [](const Item& item) {
      return std::tie(item.raw.name, item.uploadDate, item.id);
    });
    for (const auto& item : items) {
      if (!IsNew(item, folder)) continue;
      // A URL is an attribute of the service's answer: "&" arrives as a reference.
      plan_.files.push_back({.itemId = std::string(item.id),
                             .name = Composed(item.name),
                             .url = item.originalUrl,
                             .wanted = folder / ItemFileName(item),
                             .path = {},
                             .modified = ItemDate(item)});
    }
  }

  void GivePaths() {
    std::vector<fs::path> wanted;
    for (const PlannedFile& file : plan_.files) wanted.push_back(file.wanted);
    auto given = plan_.paths.Give(wanted, Named::kFile, [&](std::size_t at) {
      return std::vector<PathGiver::Mark>{{"", plan_.files[at].modified}};
    });
    for (std::size_t at = 0; at < given.size(); ++at) {
      PlannedFile& file = plan_.files[at];
      file.path = std::move(given[at].path);
      file.standing = given[at].isHere ? Standing::kThisOne : Standing::kNothing;
      if (!given[at].isHere && StandsThere(file.path)) file.standing = Standing::kOther;
    }
  }

  Library& library_;
  AccountWalk walk_;
  DownloadPlan plan_;
  std::vector<Item> loose_;
  std::vector<Item> albums_;
  std::set<std::pair<EntryKey, std::string>> seen_;  // with the folders that items go to
  bool asInAccount_ = false;
};

}  // namespace

DownloadPlan PlanDownload(Library& library, const Wanted& wanted, const fs::path& to) {
  Planner planner(library, to);
  if (wanted.all) planner.AddAll();
  for (const auto& entry : wanted.entries) planner.Add(entry);
  return planner.Finish();
}

}  // namespace kelo::host
