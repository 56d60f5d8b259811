// Downloads of originals: destination names, the command, what became of each file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "KELOAccess.h"
#include "Library.h"

namespace kelo::host {

struct FetchedFile {
  std::filesystem::path path;
  std::uint32_t result = 0;
  std::uint32_t size = 0;
  bool attempted = true;  // false: an earlier failure ended the batch
};

// Downloads the originals of `items` into `folder`, in order. File names come from the item names,
// made harmless and different from each other; a file that exists is left alone (4099).
std::vector<FetchedFile> Fetch(Library& library, const std::vector<tagKELO_ItemInfo>& items,
                               const std::filesystem::path& folder);

}  // namespace kelo::host
