// Albums by name: which one a local folder stands for, and which one of the account that is.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "host/library/Library.h"
#include "host/names/ResultText.h"
#include "host/upload/File.h"

namespace kelo::host {

// The album that the files of a folder are put into; the import of the local service follows the
// same rule. The top itself: none. A folder without sub-folders: an album. A folder with
// sub-folders: a folder, an album for each of them, and one of its own name for loose files. Deeper
// folders: the album of their second level. `below` is the folder's path below the top,
// `holdsFolders` whether it has sub-folders.
AlbumName AlbumOfFolder(const std::filesystem::path& below, bool holdsFolders);

// Finds albums in the account by their exact names, or by the names of the folders that a download
// makes of them, and makes those that are missing, but for a dry run.
class Albums {
 public:
  // `loaded` gives the library with the account loaded; called when an album is looked for.
  Albums(Output& out, std::function<Library&()> loaded, bool dryRun)
      : out_(out), loaded_(std::move(loaded)), dryRun_(dryRun) {}

  // The album that a person means by an id, a name or "Folder/Name": none for "" and "root". It may
  // be missing. Throws Failure when several are meant.
  AlbumName Meant(const std::string& words);

  // Empty where a dry run would make it. What cannot be had is told of, and asked for, once. Throws
  // Error.
  std::string Id(const AlbumName& name);

 private:
  using Ids = std::map<std::string, std::string>;  // by comparable name
  // Folders for an empty id and kind, else the albums of a folder.
  Ids& Children(const std::string& folderId, Kind kind);
  std::string Find(const std::string& folderId, Kind kind, const std::string& name);
  std::string Make(const std::string& folderId, Kind kind, const std::string& name);
  std::string FindOrMake(const AlbumName& name);

  Output& out_;
  const std::function<Library&()> loaded_;
  const bool dryRun_;
  std::map<std::pair<std::string, Kind>, Ids> children_;
  std::map<AlbumName, std::string> ids_;
  std::map<AlbumName, Error> failed_;
};

}  // namespace kelo::host
