// What the file of an item is called and dated.
#pragma once

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

#include "KELOAccess.hpp"

namespace kelo::host {

// The item's name as a file name, else its id. Where the name was cut, the extension of the item's
// format is put back.
std::string ItemFileName(const Item& item);

// The item's modify date.
std::optional<std::time_t> ItemDate(const Item& item);

// Whether a regular file stands at the path, modified at that moment; at any where none is known.
bool IsFileOf(const std::filesystem::path& path, std::optional<std::time_t> modified);

}  // namespace kelo::host
