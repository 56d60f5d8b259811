// The account as a tree of folders, albums and friends' albums.
#pragma once

#include <string>

#include "Library.h"

namespace kelo::host {

// Prints what the library has loaded, to standard output; with `items` the items too.
void PrintTree(Library& library, bool items);

// Name and id of an entry as shown to a person, and its kind in words.
std::string EntryName(const tagKELO_ItemInfo& entry);
std::string EntryId(const tagKELO_ItemInfo& entry);
std::string_view KindText(std::uint32_t kind);

// A folder or an album of any kind; otherwise an item.
bool IsContainer(const tagKELO_ItemInfo& entry);

}  // namespace kelo::host
