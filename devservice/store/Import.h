// Fills an account from a folder of pictures on disk.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "devservice/store/ImportWatcher.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {

// Links are followed, but no folder is read twice, and what cannot be read is passed over.
//
// Files at the top go to the root album. A folder that holds folders becomes a folder, with an
// album for each of them (and one of its own name for its loose files); any other becomes an album
// at the top. What lies deeper joins the album of its second level. Files imported before are
// passed over. With `copy`, files are copied into the store's folder; otherwise they stay where
// they are.
void ImportFolder(Store& store, AccountId account, const std::filesystem::path& directory,
                  bool copy, const ImportWatcher& watcher);

// An album for the folder, with all files below; for a folder that holds only folders, one for each
// of them. They belong to `owner`; gives their ids.
std::vector<std::string> ImportAlbums(Store& store, AccountId owner,
                                      const std::filesystem::path& directory, bool copy,
                                      const ImportWatcher& watcher);

}  // namespace kelo::devservice
