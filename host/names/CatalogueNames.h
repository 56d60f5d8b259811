// Names as the catalogue holds them: with references for all that is not ASCII, in a field that
// cuts long ones.
#pragma once

#include <string>
#include <vector>

namespace kelo::host {

// How the catalogue shows a name: composed, and cut where its field ends. Two names that it shows
// alike are one.
std::string CatalogueName(const std::string& name);
// Whether that is the whole name: the field holds 255 bytes of references, 31 Japanese characters.
bool FitsCatalogue(const std::string& name);
// All that the catalogue may call the item of a file here: `get` numbers pictures of one name, and
// writes what a file name cannot have as in URLs.
std::vector<std::string> CatalogueNamesOf(const std::string& fileName);

}  // namespace kelo::host
