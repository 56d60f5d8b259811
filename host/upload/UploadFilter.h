// Which of the files that are found in folders an upload takes: pictures, movies and sound, no
// junk, and what the filter of the command line leaves.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/names/Filter.h"

namespace kelo::host {

// Why something is left out without a word of its own, in the order in which it is told.
enum class LeftOut { kSystemFile, kHidden, kSidecar, kOtherKind, kByFilter, kFolderLink };

using LeftOutCounts = std::map<LeftOut, size_t>;

// "1 system file, 3 hidden (--all-files sends such files)"; empty when nothing was left out.
std::string LeftOutText(const LeftOutCounts& counts);

struct UploadFilter {
  Filter wish{};          // of the command line
  bool allFiles = false;  // junk and files of other kinds as well

  // Why, if it does, by its name. `below` is the path below the folder that the command line named.
  // A file that was named itself (`named`) may be hidden and of any kind.
  std::optional<LeftOut> LeavesFileOut(const std::filesystem::path& below, bool named) const;
  // A folder that is left out is not entered.
  std::optional<LeftOut> LeavesFolderOut(const std::filesystem::path& below) const;
};

}  // namespace kelo::host
