// Gives each of many files or folders a path of its own, the same one in every run: what stands
// there already goes to the one it belongs to, the others get the first number that is free.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/account/Names.h"

namespace kelo::host {

class PathGiver {
 public:
  struct Given {
    std::filesystem::path path;
    bool isHere = false;  // what stands there belongs to the one that got the path
  };
  // Whether what stands at the path belongs to the one with this position.
  using BelongsTo = std::function<bool(std::size_t, const std::filesystem::path&)>;

  // A path for each wanted one, in their order, which decides who gets the lower number.
  std::vector<Given> Give(const std::vector<std::filesystem::path>& wanted, Named named,
                          const BelongsTo& belongsTo);
  // One path more.
  std::filesystem::path Take(const std::filesystem::path& wanted, Named named);
  // A file was made at a path that was given: where the file system takes two names for one (by
  // case, by the composition of letters), the other one is taken too.
  void Made(const std::filesystem::path& path);
  // Whether what stands at the path is that of another path, under another spelling.
  bool BelongsElsewhere(const std::filesystem::path& path) const;

 private:
  using FileId = std::pair<dev_t, ino_t>;

  bool Find(const std::filesystem::path& wanted, Named named, int last,
            const std::function<bool(const std::filesystem::path&)>& belongs, Given& given);
  bool IsTaken(const std::filesystem::path& path) const;

  std::set<std::filesystem::path> paths_;
  std::multimap<FileId, std::filesystem::path> files_;  // what stands at them
  std::map<std::filesystem::path, int> nextFree_;       // by wanted path: numbers below are taken
};

}  // namespace kelo::host
