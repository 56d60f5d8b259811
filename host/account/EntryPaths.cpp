// Paths of all folders and albums, and of the items of one album.
#include "host/account/EntryPaths.h"

#include <fmt/format.h>

#include <map>

#include "host/account/Names.h"
#include "host/account/Tree.h"
#include "host/library/Records.h"

namespace kelo::host {
namespace {

using Entry = tagKELO_ItemInfo;

constexpr std::uint32_t kAlbums = kKELOKind_Album | kKELOKind_FriendAlbum | kKELOKind_RootAlbum;
constexpr std::size_t kIdBegun = 3;  // so many characters of an id tell what is wanted

// The name as it can be typed and shown, or nothing.
std::string Typeable(const Entry& entry) {
  if (entry.kind == kKELOKind_RootAlbum) return "root";
  const std::string name = NameText(FieldText(entry.name));
  return Shown(FieldText(entry.name)) == name ? name : "";
}

std::string About(const Entry& entry) {
  if (!IsContainer(entry)) {
    const bool shot = entry.shotDate[0] != '\0';
    return Shown(shot ? FieldText(entry.shotDate) : FieldText(entry.modifyDate));
  }
  const char* noun = entry.kind == kKELOKind_Folder ? "album" : "item";
  return fmt::format("{}, {}", KindText(entry.kind), CountText(entry.itemCount, noun));
}

class Paths {
 public:
  Paths(Library& library, std::string_view begun)
      : library_(library), begun_(begun), top_(begun.starts_with('/') ? "/" : "") {
    const auto entries =
        library.List(KELO_ALL_ITEMS_ID, kKELOKind_Folder | kKELOKind_Album | kKELOKind_FriendAlbum);
    std::map<std::string_view, std::string> folders;
    for (const Entry& entry : entries)
      if (entry.kind == kKELOKind_Folder) folders[FieldText(entry.itemId)] = Typeable(entry);
    Add(library.Info(KELO_ROOT_ALBUM_ID), top_ + "root");
    for (const Entry& entry : entries) {
      const std::string name = Typeable(entry);
      const auto folder = folders.find(FieldText(entry.parentId));
      if (name.empty()) continue;
      if (folder != folders.end()) Add(entry, top_ + folder->second + "/" + name);
      // The name alone leads there too; it is offered to who has begun to type it.
      if (folder == folders.end() || !begun.empty()) Add(entry, top_ + name);
    }
  }

  // Folders and albums of these kinds.
  std::vector<Candidate> Containers(std::uint32_t kinds) const {
    std::vector<Candidate> found;
    for (const auto& [path, entry] : places_)
      if (count_.at(path) == 1 && (entry.kind & kinds) != 0 && path.starts_with(begun_))
        found.push_back({path, About(entry)});
    return found;
  }

  // The items of the albums that are named whole.
  void AddItems(std::vector<Candidate>& found) const {
    for (const auto& [path, entry] : places_) {
      const std::string inside = path + "/";
      if (count_.at(path) != 1 || (entry.kind & kAlbums) == 0 || !begun_.starts_with(inside))
        continue;
      std::map<std::string, int> times;
      const auto items = library_.List(FieldText(entry.itemId), kKELOKind_FileItem);
      for (const Entry& item : items) ++times[Typeable(item)];
      for (const Entry& item : items) {
        const std::string name = Typeable(item);
        const std::string text = inside + name;
        if (!name.empty() && times[name] == 1 && text.starts_with(begun_))
          found.push_back({text, About(item)});
      }
    }
  }

 private:
  void Add(const Entry& entry, const std::string& path) {
    places_.emplace_back(path, entry);
    ++count_[path];
  }

  Library& library_;
  const std::string_view begun_;
  const std::string top_;
  std::vector<std::pair<std::string, Entry>> places_;
  std::map<std::string, int> count_;  // a path that several have leads to none of them
};

void AddIds(Library& library, std::uint32_t kinds, std::string_view begun,
            std::vector<Candidate>& found) {
  for (const Entry& entry : library.List(KELO_ALL_ITEMS_ID, kinds))
    if (FieldText(entry.itemId).starts_with(begun))
      found.push_back({EntryId(entry), EntryName(entry)});
}

}  // namespace

std::vector<Candidate> EntryPaths(Library& library, EntryKinds kinds, const std::string& begun) {
  const std::uint32_t wanted = (kinds.folders ? kKELOKind_Folder : 0) |
                               (kinds.albums ? kAlbums : 0) |
                               (kinds.items ? kKELOKind_FileItem : 0);
  const Paths paths(library, begun);
  auto found = paths.Containers(wanted);
  // A single album can be meant itself, or be the way to its items.
  if (kinds.items && found.size() == 1) found.push_back({found.front().text + "/", "its items"});
  if (kinds.items) paths.AddItems(found);
  if (found.empty() && begun.size() >= kIdBegun)
    AddIds(library, wanted & ~kKELOKind_RootAlbum, begun, found);
  return found;
}

}  // namespace kelo::host
