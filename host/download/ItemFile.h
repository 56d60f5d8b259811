// What the file of an item is called and dated.
#pragma once

#include <cstdint>
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

// That by which a filter takes the item: of the shot, else the modify date, else of the upload; in
// seconds on the clock on which it is shown (Dates.h).
std::optional<std::int64_t> ShownDate(const Item& item);

// Whether a regular file stands at the path, modified at that moment; at any where none is known.
bool IsFileOf(const std::filesystem::path& path, std::optional<std::time_t> modified);

}  // namespace kelo::host
