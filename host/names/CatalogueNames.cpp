// Writes names with references, and tells where a field of the catalogue cuts them.
#include "host/names/CatalogueNames.h"

#include <algorithm>
#include <cstdio>

#include "host/names/Names.h"
#include "text/XMLUtility.h"

namespace kelo::host {
namespace {

constexpr size_t kNameField = 255;  // bytes, of the library's records

std::string AsReferences(const std::string& name) {
  std::string references;
  XMLUtility().ConvertStringUTF8ToReference(name, references);
  return references;
}

// A reference that was cut stands at the end without its semicolon, a pair of two that was cut
// without its second.
std::string WithoutCutReference(std::string references) {
  size_t last = references.rfind('&');
  if (last == std::string::npos) return references;
  if (references.find(';', last) == std::string::npos) {
    references.resize(last);
    last = references.rfind('&');
    if (last == std::string::npos) return references;
  }
  unsigned unit = 0;
  const bool atEnd = references.find(';', last) + 1 == references.size();
  if (atEnd && std::sscanf(references.c_str() + last, "&#%u;", &unit) == 1 && unit >= 0xD800 &&
      unit < 0xDC00)
    references.resize(last);
  return references;
}

}  // namespace

std::string CatalogueName(const std::string& name) {
  return WithoutCutReference(AsReferences(name).substr(0, kNameField));
}

bool FitsCatalogue(const std::string& name) {
  return AsReferences(name).size() <= kNameField;
}

std::vector<std::string> CatalogueNamesOf(const std::string& fileName) {
  std::vector<std::string> names = NamesBehind(fileName);
  names.insert(names.begin(), fileName);
  std::ranges::transform(names, names.begin(), CatalogueName);
  return names;
}

}  // namespace kelo::host
