// Albums by name: which one a local folder stands for, and which one of the account that is.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "host/library/Library.h"

namespace kelo::host {

// An album at the top (no folder) or in a folder. Without an album: in no album at all.
struct AlbumName {
  std::string folder;
  std::string album;

  bool Empty() const { return album.empty(); }
  std::string Words() const;  // "Journeys/Lisbon", fit for a terminal
  auto operator<=>(const AlbumName&) const = default;
};

// The album of a file, the one rule for an upload and for the import of the local service: files at
// the top are in no album. A folder that holds folders is a folder, with an album for each of them
// and one of its own name for its loose files; any other folder is an album at the top. What lies
// deeper joins the album of its second level. `below` is the file's path below the top,
// `holdsFolders` tells of the first folder on it.
AlbumName AlbumOfFile(const std::filesystem::path& below, bool holdsFolders);

// Finds albums in the loaded account by their exact names, or by the names of the folders that a
// download makes of them, and makes those that are missing.
class AlbumShelf {
 public:
  // The library has the account loaded.
  explicit AlbumShelf(Library& library) : library_(library) {}

  // The album's id; empty where there is none.
  std::string Find(const AlbumName& name);
  // The same, made with its folder where missing. Throws CommandFailure.
  std::string FindOrMake(const AlbumName& name);

 private:
  using Ids = std::map<std::string, std::string>;  // by comparable name
  // Folders for an empty id and kind, else the albums of a folder.
  Ids& Children(const std::string& folderId, Kind kind);
  std::string Make(const std::string& folderId, Kind kind, const std::string& name);

  Library& library_;
  std::map<std::pair<std::string, Kind>, Ids> children_;
};

}  // namespace kelo::host
