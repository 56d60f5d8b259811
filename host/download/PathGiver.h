// Gives each of many files or folders a path of its own, the same one in every run: what stands
// there already goes to the one it belongs to, the others get the first number that is free.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/names/Names.h"

namespace kelo::host {

class PathGiver {
 public:
  struct Given {
    std::filesystem::path path;
    bool isHere = false;  // what stands there belongs to the one that got the path
  };
  // By which a file is known again: its path in the folder that is wanted, empty for a file that is
  // wanted itself, and its modify date, any where none is known.
  struct Mark {
    std::string below;
    std::optional<std::time_t> modified;
  };
  // The marks of the n-th wanted path; asked once at most, and only if something exists there.
  using MarksOf = std::function<std::vector<Mark>(size_t)>;

  // A path for each. Of equal ones the earlier gets the lower number. An existing file belongs to
  // the first with a fitting mark. Many files of one name take no longer than many names.
  std::vector<Given> Give(const std::vector<std::filesystem::path>& wanted, Named named,
                          const MarksOf& marksOf);
  // A path for one more.
  std::filesystem::path Take(const std::filesystem::path& wanted, Named named);
  // A file was made at a path that was given: where the file system takes two names for one (by
  // case, by the composition of letters), the other one is taken too.
  void Made(const std::filesystem::path& path);
  // Whether what stands at the path is that of another path, under another spelling.
  bool BelongsElsewhere(const std::filesystem::path& path) const;

 private:
  using FileId = std::pair<dev_t, ino_t>;

  struct ButForCase {
    bool operator()(const std::u16string& a, const std::u16string& b) const;
  };
  using Spellings = std::map<std::u16string, std::filesystem::path, ButForCase>;
  class Namesakes;

  void GiveStanding(Namesakes& namesakes, Named named, int first, int last, const MarksOf& marksOf,
                    std::vector<Given>& given);
  bool IsTaken(const std::filesystem::path& path) const;

  std::set<std::filesystem::path> paths_;
  std::map<FileId, Spellings> files_;              // what stands at them
  std::map<std::filesystem::path, int> nextFree_;  // by wanted path: numbers below are taken
};

}  // namespace kelo::host
