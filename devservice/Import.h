// Filling an account from a folder of pictures.
#pragma once

#include <filesystem>

#include "devservice/Store.h"

namespace kelo::devservice {

// Files at the top go to the root album. A folder that holds folders becomes a folder, with an
// album for each of them (and one of its own name for its loose files); any other becomes an album
// at the top. What lies deeper joins the album of its second level. Files imported before are
// passed over. With `copy`, files are copied into the store's folder; otherwise they stay where
// they are.
void ImportFolder(Store& store, AccountId account, const std::filesystem::path& directory,
                  bool copy);

// All files below become one album with the folder's name, owned by `owner`; gives its id.
std::string ImportAlbum(Store& store, AccountId owner, const std::filesystem::path& directory,
                        bool copy);

}  // namespace kelo::devservice
