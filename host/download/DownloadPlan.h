// Which files a download makes: where each item goes, and what of it is here already.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/download/PathGiver.h"
#include "host/library/Library.h"
#include "host/names/Filter.h"

namespace kelo::host {

// What stands where the file goes.
enum class Standing {
  kNothing,
  kThisOne,  // a file with the picture's modify date; with any date where the picture has none
  kOther
};

struct PlannedDownload {
  std::string itemId;
  std::string name;  // as the service has it, resolved
  std::string url;
  std::filesystem::path wanted;  // without a number
  std::filesystem::path path;
  std::optional<std::time_t> modified;  // the picture's
  std::optional<std::int64_t> shown;    // the date by which the filter takes it
  Standing standing = Standing::kNothing;
};

struct DownloadPlan {
  std::filesystem::path to;
  std::vector<PlannedDownload> files;
  PathGiver paths;     // knows those of the files
  size_t leftOut = 0;  // folders, albums and what is in them, told of already
  size_t filteredOut = 0;
};

// What to get: entries of the catalogue (items, albums, folders), or everything, and of that what
// the filter takes. It looks at the paths below the folder of the download, without the numbers of
// namesakes. No sizes: the catalogue tells none.
struct Wanted {
  std::vector<Item> entries;
  bool all = false;
  Filter filter{};
};

// One album alone goes straight into `to`, and so do items, and those in no album. Otherwise each
// album has a folder as in the account, below that of its folder, and an album of its folder's own
// name is in that folder itself; friends' albums are together in "Friends' albums". Two entries
// that would have the same place get numbers, the same in every run, whatever else is taken. Needs
// the hierarchy; looks at `to` and changes nothing.
DownloadPlan PlanDownload(Library& library, const Wanted& wanted, const std::filesystem::path& to);

}  // namespace kelo::host
