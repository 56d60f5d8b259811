// The account as a tree of folders, albums and friends' albums, drawn for a person.
#pragma once

#include "host/library/Library.h"
#include "host/terminal/Output.h"

namespace kelo::host {

// Tells what the library has loaded, with `items` the items too; in JSON an entry with its path a
// line. Whether nothing was left out.
bool PrintTree(Library& library, Output& out, bool items);

}  // namespace kelo::host
