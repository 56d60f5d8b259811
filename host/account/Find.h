// Finds the entry that a person has named by id, name or path.
#pragma once

#include <optional>
#include <string>

#include "host/library/Library.h"

namespace kelo::host {

// The entry with this id, or with this name or path: "Lisbon", "Journeys/Lisbon", "a.jpg",
// "Lisbon/a.jpg", "Journeys/Lisbon/a.jpg"; "root" is the root album, and a "/" before a path says
// that it begins at the top. Case does not matter where only one entry is meant without it, nor do
// the ways to write an accent. Folders and albums come before items, and a folder before the album
// in it that has its name. Throws Failure when there is none, with the nearest name, or more than
// one, with their ids. Needs the hierarchy.
Item FindEntry(Library& library, const std::string& wanted);

// "Lisbon/", as people write folders, is "Lisbon" in all of these.
std::string WithoutEndSlash(std::string path);

// The same among the albums alone; what is none is refused.
Item FindAlbum(Library& library, const std::string& wanted);

// Nothing where no album is meant. More than one is still a Failure.
std::optional<Item> FindAlbumIfAny(Library& library, const std::string& wanted);

// The same for folders.
Item FindFolder(Library& library, const std::string& wanted);
std::optional<Item> FindFolderIfAny(Library& library, const std::string& wanted);

}  // namespace kelo::host
