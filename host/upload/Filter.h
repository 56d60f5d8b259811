// Which of the files that are found in folders an upload takes: pictures, movies and sound, no
// junk, and what the patterns of the command line leave.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kelo::host {

// Why something is left out without a word of its own, in the order in which it is told.
enum class LeftOut { kSystemFile, kHidden, kSidecar, kOtherKind, kByPattern, kFolderLink };

using LeftOutCounts = std::map<LeftOut, size_t>;

// "1 system file, 3 hidden (--all-files sends such files)"; empty when nothing was left out.
std::string LeftOutText(const LeftOutCounts& counts);

struct UploadFilter {
  // Globs, case not counted. One without a slash is compared with names, any other with the path
  // below the folder that the command line named; there "*" matches slashes too. "Trip/" is all
  // that any folder Trip holds.
  std::vector<std::string> include;  // empty: everything
  std::vector<std::string> exclude;
  bool allFiles = false;  // junk and files of other kinds as well

  // `below` is the path below that folder. A file that the command line named itself (`named`) may
  // be hidden and of any kind.
  std::optional<LeftOut> File(const std::filesystem::path& below, bool named) const;
  // A folder that is left out is not entered.
  std::optional<LeftOut> Folder(const std::filesystem::path& below) const;
};

}  // namespace kelo::host
