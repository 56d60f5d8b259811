// Drawing of the tree, and the words for its entries.
#include "host/account/Tree.h"

#include <fmt/format.h>

#include "host/account/EntryJson.h"
#include "host/account/Names.h"

namespace kelo::host {
namespace {

class TreePrinter {
 public:
  TreePrinter(Library& library, Output& out, bool items)
      : library_(library), out_(out), items_(items) {}

  void Print() {
    out_.Line("Account");
    Children(kRoot, Kind::RootAlbum | Kind::Folder | Kind::Album, {});
    const auto friends = library_.List(kEverything, Kind::FriendAlbum);
    if (friends.empty()) return;
    out_.Line("Friends' albums");
    Entries(friends, {});
  }

 private:
  // What stands before the lines below an entry, and before the names in their paths.
  struct Above {
    std::string indent;
    std::string path;
  };

  void Children(std::string_view target, Kind kinds, const Above& above) {
    Entries(library_.List(target, kinds), above);
  }

  void Entries(const std::vector<Item>& entries, const Above& above) {
    for (std::size_t at = 0; at < entries.size(); ++at) {
      const bool last = at + 1 == entries.size();
      const Item& entry = entries[at];
      const std::string path = above.path + "/" + PathName(entry);
      Json json;
      if (out_.IsJson()) {
        json = EntryJson(entry);
        json["path"] = path;
      }
      out_.Result(above.indent + (last ? "└── " : "├── ") + Describe(entry), json);
      Below(entry, {above.indent + (last ? "    " : "│   "), path});
    }
  }

  void Below(const Item& entry, const Above& above) {
    const std::string_view id = entry.id;
    if (entry.kind == Kind::Folder)
      Children(id, Kind::Album, above);
    else if (items_ && IsContainer(entry))
      Children(id, Kind::FileItem, above);
  }

  static std::string PathName(const Item& entry) {
    return entry.kind == Kind::RootAlbum ? "root" : Composed(entry.name);
  }

  static std::string Describe(const Item& entry) {
    if (!IsContainer(entry)) return fmt::format("{}  [{}]", EntryName(entry), EntryId(entry));
    const bool folder = entry.kind == Kind::Folder;
    return fmt::format("{}{}  [{}] {}, {}", EntryName(entry), folder ? "/" : "", EntryId(entry),
                       KindText(entry.kind), CountText(entry.itemCount, folder ? "album" : "item"));
  }

  Library& library_;
  Output& out_;
  const bool items_;
};

}  // namespace

std::string EntryName(const Item& entry) {
  return entry.kind == Kind::RootAlbum ? "(in no album)" : Shown(entry.name);
}

std::string EntryId(const Item& entry) {
  return entry.kind == Kind::RootAlbum ? "root" : Shown(entry.id);
}

std::string_view KindText(Kind kind) {
  if (Is(kind, Kind::FriendAlbum)) return "friend's album";
  if (Is(kind, Kind::SharedAlbum)) return "shared album";
  if (Is(kind, Kind::RootAlbum)) return "root album";
  if (Is(kind, Kind::Album)) return "album";
  if (Is(kind, Kind::Folder)) return "folder";
  return "item";
}

std::string_view FormatText(std::uint32_t format) {
  struct Row {
    std::uint32_t format;
    std::string_view words;
  };
  constexpr Row kRows[] = {{1, "JPEG"},      {2, "raw"}, {3, "raw"}, {4, "TIFF"},
                           {5, "QuickTime"}, {6, "AVI"}, {7, "WAV"}, {4097, "binary"}};
  for (const Row& row : kRows)
    if (row.format == format) return row.words;
  return "unknown";
}

bool IsContainer(const Item& entry) {
  constexpr Kind kContainers =
      Kind::Folder | Kind::Album | Kind::FriendAlbum | Kind::RootAlbum | Kind::SharedAlbum;
  return Is(entry.kind, kContainers);
}

void PrintTree(Library& library, Output& out, bool items) {
  TreePrinter(library, out, items).Print();
}

}  // namespace kelo::host
