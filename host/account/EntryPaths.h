// The account's folders, albums and items as a person would name them on the command line.
#pragma once

#include <string>
#include <vector>

#include "host/library/Library.h"

namespace kelo::host {

struct Offer {
  std::string text;
  std::string about;
};

// What `begun` may become: "Folder", "Folder/Album", "root", and, behind the "/" of an album that
// is named whole, its items; ids where a name would not lead to the entry alone, or where an id's
// first characters are typed. Needs the hierarchy.
std::vector<Offer> EntryPaths(Library& library, Kind kinds, const std::string& begun);

}  // namespace kelo::host
