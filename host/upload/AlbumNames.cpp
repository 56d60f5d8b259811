// The rule of folders, and the account's folders and albums by name.
#include "host/upload/AlbumNames.h"

#include <fmt/format.h>

#include <cstdio>
#include <vector>

#include "host/account/Names.h"
#include "host/library/Records.h"
#include "host/library/ResultText.h"
#include "text/XMLUtility.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kNameField = sizeof(tagKELO_ItemInfo::name) - 1;

std::string AsReferences(const std::string& name) {
  std::string references;
  XMLUtility().ConvertStringUTF8ToReference(name, references);
  return references;
}

// A reference that was cut stands at the end without its semicolon, a pair of two that was cut
// without its second.
std::string WithoutCutReference(std::string references) {
  std::size_t last = references.rfind('&');
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

// What the catalogue holds of a name, whatever way its references are written.
std::string Comparable(std::string_view field) {
  return WithoutCutReference(AsReferences(Resolved(WithoutCutReference(std::string(field)))))
      .substr(0, kNameField);
}

}  // namespace

std::string AlbumName::Words() const {
  return ShownText(folder.empty() ? album : folder + "/" + album);
}

AlbumName AlbumOfFile(const fs::path& below, bool holdsFolders) {
  std::vector<std::string> names;
  for (const fs::path& part : below) names.push_back(part.string());
  if (names.size() < 2) return {};
  if (!holdsFolders) return {.folder = {}, .album = names[0]};
  return {.folder = names[0], .album = names[names.size() == 2 ? 0 : 1]};
}

std::string CatalogueName(const std::string& name) {
  return WithoutCutReference(AsReferences(name).substr(0, kNameField));
}

bool FitsCatalogue(const std::string& name) {
  return AsReferences(name).size() <= kNameField;
}

AlbumShelf::Ids& AlbumShelf::Children(const std::string& folderId, std::uint32_t kind) {
  const auto [found, isNew] = children_.try_emplace({folderId, kind});
  if (isNew)
    for (const tagKELO_ItemInfo& entry : library_.List(folderId, kind))
      found->second.emplace(Comparable(FieldText(entry.name)), FieldText(entry.itemId));
  return found->second;
}

std::string AlbumShelf::Find(const AlbumName& name) {
  const auto idIn = [](const Ids& ids, const std::string& wanted) {
    const auto found = ids.find(CatalogueName(wanted));
    return found == ids.end() ? std::string() : found->second;
  };
  std::string folder;
  if (!name.folder.empty()) {
    folder = idIn(Children("", kKELOKind_Folder), name.folder);
    if (folder.empty()) return {};
  }
  return idIn(Children(folder, kKELOKind_Album), name.album);
}

std::string AlbumShelf::FindOrMake(const AlbumName& name) {
  if (std::string id = Find(name); !id.empty()) return id;
  std::string folder;
  if (!name.folder.empty()) {
    const Ids& folders = Children("", kKELOKind_Folder);
    const auto found = folders.find(CatalogueName(name.folder));
    folder = found != folders.end() ? found->second : Make("", kKELOKind_Folder, name.folder);
  }
  return Make(folder, kKELOKind_Album, name.album);
}

std::string AlbumShelf::Make(const std::string& folderId, std::uint32_t kind,
                             const std::string& name) {
  std::vector<tagKELO_ItemInfo> records(1);
  records[0].kind = kind;
  CopyText(records[0].name, name);
  const std::uint32_t result = library_.AddContainers(folderId, records);
  Check(fmt::format("create '{}'", ShownText(name)), result != 0 ? result : records[0].result,
        kKELOCommand_AddItems);
  std::string id(FieldText(records[0].itemId));
  Children(folderId, kind).emplace(CatalogueName(name), id);
  return id;
}

}  // namespace kelo::host
