// Collects the paths that the tab key offers: of all folders and albums, and of the items of an
// album that is named whole.
#include "host/account/EntryPaths.h"

#include <fmt/format.h>

#include <map>

#include "host/account/AccountTree.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

constexpr size_t kIdBegun = 3;  // so many characters of an id tell what is wanted

// The name as it can be typed and shown, or nothing.
std::string Typeable(const Item& entry) {
  if (entry.kind == Kind::RootAlbum) return "root";
  const std::string name = Composed(entry.name);
  return Shown(entry.name) == name ? name : "";
}

std::string About(const Item& entry) {
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
      : tree_(library), begun_(begun), top_(begun.starts_with('/') ? "/" : "") {
    for (const AccountPlace& place : tree_.Places()) {
      const std::string name = Typeable(place.entry);
      if (name.empty()) continue;
      if (place.folder != nullptr) Add(place.entry, top_ + Typeable(*place.folder) + "/" + name);
      // The name alone leads there too, and is offered once something is typed.
      if (place.folder == nullptr || !begun.empty()) Add(place.entry, top_ + name);
    }
  }

  // Folders and albums of these kinds.
  std::vector<Offer> Containers(Kind kinds) const {
    std::vector<Offer> found;
    for (const auto& [path, entry] : places_)
      if (count_.at(path) == 1 && Is(entry.kind, kinds) && path.starts_with(begun_))
        found.push_back({path, About(entry)});
    return found;
  }

  // The items of the albums that are named whole.
  void AddItems(std::vector<Offer>& found) const {
    for (const auto& [path, entry] : places_) {
      const std::string inside = path + "/";
      if (count_.at(path) != 1 || !Is(entry.kind, kAlbums) || !begun_.starts_with(inside)) continue;
      std::map<std::string, int> times;
      const auto items = tree_.ContentsOf(entry).entries;
      for (const Item& item : items) ++times[Typeable(item)];
      for (const Item& item : items) {
        const std::string name = Typeable(item);
        const std::string text = inside + name;
        if (!name.empty() && times[name] == 1 && text.starts_with(begun_))
          found.push_back({text, About(item)});
      }
    }
  }

 private:
  void Add(const Item& entry, const std::string& path) {
    places_.emplace_back(path, entry);
    ++count_[path];
  }

  const AccountTree tree_;
  const std::string_view begun_;
  const std::string top_;
  std::vector<std::pair<std::string, Item>> places_;
  std::map<std::string, int> count_;  // a path that several have leads to none of them
};

void AddIds(Library& library, Kind kinds, std::string_view begun, std::vector<Offer>& found) {
  for (const Item& entry : library.List(kEverything, kinds))
    if (entry.id.starts_with(begun)) found.push_back({EntryId(entry), EntryName(entry)});
}

}  // namespace

std::vector<Offer> EntryPaths(Library& library, Kind kinds, const std::string& begun) {
  const bool items = Is(kinds, Kind::FileItem);
  const Paths paths(library, begun);
  auto found = paths.Containers(kinds);
  // A single album can be meant itself, or be the way to its items.
  if (items && found.size() == 1) found.push_back({found.front().text + "/", "its items"});
  if (items) paths.AddItems(found);
  if (found.empty() && begun.size() >= kIdBegun)
    AddIds(library, kinds & ~Kind::RootAlbum, begun, found);
  return found;
}

}  // namespace kelo::host
