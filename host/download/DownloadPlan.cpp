// From entries to files.
#include "host/download/DownloadPlan.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <tuple>

#include "host/account/Names.h"
#include "host/account/Tree.h"
#include "host/download/AccountFolders.h"
#include "host/download/ItemFile.h"
#include "host/library/Records.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

class Planner {
 public:
  Planner(Library& library, const fs::path& to) : library_(library) { plan_.to = to; }

  void Add(const tagKELO_ItemInfo& entry) {
    if (!IsContainer(entry))
      loose_.push_back(entry);
    else if (entry.kind == kKELOKind_Folder)
      AddAlbums(library_.List(FieldText(entry.itemId), kKELOKind_Album));
    else
      AddAlbums({entry});
    // The place of an album must not hang on how many more its folder has.
    asInAccount_ = asInAccount_ || entry.kind == kKELOKind_Folder;
  }

  void AddAll() {
    AddAlbums(library_.List("", kKELOKind_RootAlbum));
    for (const auto& entry : library_.List("", kKELOKind_Folder | kKELOKind_Album)) Add(entry);
    AddAlbums(library_.List(KELO_ALL_ITEMS_ID, kKELOKind_FriendAlbum));
    asInAccount_ = true;
  }

  DownloadPlan Finish() {
    const bool straight = !asInAccount_ && loose_.empty() && albums_.size() == 1;
    AddFiles(loose_, plan_.to);
    if (straight) {
      AddFilesOf(albums_.front(), plan_.to);
    } else if (!albums_.empty()) {
      const AccountFolders folders(library_, plan_.paths, plan_.to);
      for (const std::string& album : albums_)
        AddFilesOf(album, album == KELO_ROOT_ALBUM_ID ? plan_.to : folders.Of(album));
    }
    GivePaths();
    return std::move(plan_);
  }

 private:
  void AddAlbums(const std::vector<tagKELO_ItemInfo>& albums) {
    for (const auto& album : albums)
      if (seen_.emplace(FieldText(album.itemId), "").second)
        albums_.emplace_back(FieldText(album.itemId));
  }

  void AddFilesOf(const std::string& album, const fs::path& folder) {
    AddFiles(library_.List(album, kKELOKind_FileItem), folder);
  }

  // Of one name in the order of their dates, so that what comes later gets the higher number.
  void AddFiles(std::vector<tagKELO_ItemInfo> items, const fs::path& folder) {
    std::ranges::stable_sort(items, {}, [](const tagKELO_ItemInfo& item) {
      return std::tuple(FieldText(item.name), FieldText(item.uploadDate), FieldText(item.itemId));
    });
    for (const auto& item : items) {
      if (!seen_.emplace(FieldText(item.itemId), folder.string()).second) continue;
      // A URL is an attribute of the service's answer: "&" arrives as a reference.
      plan_.files.push_back({.itemId = std::string(FieldText(item.itemId)),
                             .name = NameText(FieldText(item.name)),
                             .url = Resolved(FieldText(item.origUrl)),
                             .wanted = folder / ItemFileName(item),
                             .path = {},
                             .modified = ItemDate(item)});
    }
  }

  void GivePaths() {
    std::vector<fs::path> wanted;
    for (const PlannedFile& file : plan_.files) wanted.push_back(file.wanted);
    auto given = plan_.paths.Give(wanted, Named::kFile, [&](std::size_t at, const fs::path& path) {
      return IsFileOf(path, plan_.files[at].modified);
    });
    for (std::size_t at = 0; at < given.size(); ++at) {
      PlannedFile& file = plan_.files[at];
      file.path = std::move(given[at].path);
      file.standing = given[at].isHere ? Standing::kThisOne : Standing::kNothing;
      if (!given[at].isHere && fs::symlink_status(file.path).type() != fs::file_type::not_found)
        file.standing = Standing::kOther;
    }
  }

  Library& library_;
  DownloadPlan plan_;
  std::vector<tagKELO_ItemInfo> loose_;
  std::vector<std::string> albums_;                     // ids
  std::set<std::pair<std::string, std::string>> seen_;  // ids, and of items the folders too
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
