// Finds several entries that a person has named, where each costs only itself.
#pragma once

#include <string>
#include <vector>

#include "host/account/Find.h"

namespace kelo::host {

// The entries that `find` gives for the names. A name that means nothing, or more than one thing,
// is told and left out. Needs the hierarchy.
std::vector<Item> FindEach(Library& library, const std::vector<std::string>& wanted,
                           Item (*find)(Library&, const std::string&) = FindEntry);

}  // namespace kelo::host
