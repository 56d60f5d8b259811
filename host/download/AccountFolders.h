// The account's folders and albums as folders on disk.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/download/PathGiver.h"
#include "host/library/Library.h"

namespace kelo::host {

class AccountFolders {
 public:
  // Gives every folder and album of the account a path below `to`, whichever of them are wanted, so
  // that a path doesn't hang on what else is.
  AccountFolders(Library& library, PathGiver& paths, const std::filesystem::path& to);

  // The path of an album.
  const std::filesystem::path& Of(const Item& album);

 private:
  void Place(std::vector<Item> siblings, const std::filesystem::path& below);
  // The files in an entry's folder.
  std::vector<PathGiver::Mark> MarksOf(const Item& entry, const std::string& below);

  Library& library_;
  PathGiver& paths_;
  const std::filesystem::path to_;
  std::map<std::string, std::filesystem::path> folders_;  // by id
};

}  // namespace kelo::host
