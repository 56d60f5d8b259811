// Paths of all folders and albums, and of the items of one album.
#include "host/account/EntryPaths.h"

#include <fmt/format.h>

#include <map>

#include "host/account/AccountWalk.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

using Entry = Item;

constexpr Kind kAlbums = Kind::Album | Kind::FriendAlbum | Kind::RootAlbum;
constexpr std::size_t kIdBegun = 3;  // so many characters of an id tell what is wanted

// The name as it can be typed and shown, or nothing.
std::string Typeable(const Entry& entry) {
  if (entry.kind == Kind::RootAlbum) return "root";
  const std::string name = Composed(entry.name);
  return Shown(entry.name) == name ? name : "";
}

std::string About(const Entry& entry) {
  if (!IsContainer(entry)) {
    const bool shot = entry.shotDate[0] != '\0';
    return Shown(shot ? entry.shotDate : entry.modifyDate);
  }
  const char* noun = entry.kind == Kind::Folder ? "album" : "item";
  return fmt::format("{}, {}", KindText(entry.kind), CountText(entry.itemCount, noun));
}

class Paths {
 public:
  Paths(Library& library, std::string_view begun)
      : library_(library), begun_(begun), top_(begun.starts_with('/') ? "/" : "") {
    const auto entries = library.List(kEverything, Kind::Folder | Kind::Album | Kind::FriendAlbum);
    std::map<std::string_view, std::string> folders;
    for (const Entry& entry : entries)
      if (entry.kind == Kind::Folder) folders[entry.id] = Typeable(entry);
    Add(library.Info(kRootAlbum), top_ + "root");
    for (const Entry& entry : entries) {
      const std::string name = Typeable(entry);
      const auto folder = folders.find(entry.parentId);
      if (name.empty()) continue;
      if (folder != folders.end()) Add(entry, top_ + folder->second + "/" + name);
      // The name alone leads there too; it is offered to who has begun to type it.
      if (folder == folders.end() || !begun.empty()) Add(entry, top_ + name);
    }
  }

  // Folders and albums of these kinds.
  std::vector<Candidate> Containers(Kind kinds) const {
    std::vector<Candidate> found;
    for (const auto& [path, entry] : places_)
      if (count_.at(path) == 1 && Is(entry.kind, kinds) && path.starts_with(begun_))
        found.push_back({path, About(entry)});
    return found;
  }

  // The items of the albums that are named whole.
  void AddItems(std::vector<Candidate>& found) const {
    for (const auto& [path, entry] : places_) {
      const std::string inside = path + "/";
      if (count_.at(path) != 1 || !Is(entry.kind, kAlbums) || !begun_.starts_with(inside)) continue;
      std::map<std::string, int> times;
      const auto items = ContentsOf(library_, entry).entries;
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

void AddIds(Library& library, Kind kinds, std::string_view begun, std::vector<Candidate>& found) {
  for (const Entry& entry : library.List(kEverything, kinds))
    if (entry.id.starts_with(begun)) found.push_back({EntryId(entry), EntryName(entry)});
}

}  // namespace

std::vector<Candidate> EntryPaths(Library& library, EntryKinds kinds, const std::string& begun) {
  const Kind wanted = (kinds.folders ? Kind::Folder : Kind::None) |
                      (kinds.albums ? kAlbums : Kind::None) |
                      (kinds.items ? Kind::FileItem : Kind::None);
  const Paths paths(library, begun);
  auto found = paths.Containers(wanted);
  // A single album can be meant itself, or be the way to its items.
  if (kinds.items && found.size() == 1) found.push_back({found.front().text + "/", "its items"});
  if (kinds.items) paths.AddItems(found);
  if (found.empty() && begun.size() >= kIdBegun)
    AddIds(library, wanted & ~Kind::RootAlbum, begun, found);
  return found;
}

}  // namespace kelo::host
