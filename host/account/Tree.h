// The account as a tree of folders, albums and friends' albums.
#pragma once

#include <string>

#include "host/library/Library.h"
#include "host/terminal/Output.h"

namespace kelo::host {

// Tells what the library has loaded, with `items` the items too; in JSON an entry with its path a
// line. Whether nothing was left out.
bool PrintTree(Library& library, Output& out, bool items);

// Name and id of an entry as shown to a person, and its kind in words.
std::string EntryName(const Item& entry);
std::string EntryId(const Item& entry);
std::string_view KindText(Kind kind);
// The format of an item: "JPEG", "raw", "unknown".
std::string_view FormatText(std::uint32_t format);

// A folder or an album of any kind; otherwise an item.
bool IsContainer(const Item& entry);

}  // namespace kelo::host
