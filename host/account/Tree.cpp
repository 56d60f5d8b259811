// Drawing of the tree, and the words for its entries.
#include "host/account/Tree.h"

#include <fmt/format.h>

#include "host/account/EntryJson.h"
#include "host/account/Names.h"
#include "host/library/Records.h"

namespace kelo::host {
namespace {

class TreePrinter {
 public:
  TreePrinter(Library& library, Output& out, bool items)
      : library_(library), out_(out), items_(items) {}

  void Print() {
    out_.Line("Account");
    Children("", kKELOKind_RootAlbum | kKELOKind_Folder | kKELOKind_Album, {});
    const auto friends = library_.List(KELO_ALL_ITEMS_ID, kKELOKind_FriendAlbum);
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

  void Children(std::string_view target, std::uint32_t kinds, const Above& above) {
    Entries(library_.List(target, kinds), above);
  }

  void Entries(const std::vector<tagKELO_ItemInfo>& entries, const Above& above) {
    for (std::size_t at = 0; at < entries.size(); ++at) {
      const bool last = at + 1 == entries.size();
      const tagKELO_ItemInfo& entry = entries[at];
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

  void Below(const tagKELO_ItemInfo& entry, const Above& above) {
    const std::string_view id = FieldText(entry.itemId);
    if (entry.kind == kKELOKind_Folder)
      Children(id, kKELOKind_Album, above);
    else if (items_ && IsContainer(entry))
      Children(id, kKELOKind_FileItem, above);
  }

  static std::string PathName(const tagKELO_ItemInfo& entry) {
    return entry.kind == kKELOKind_RootAlbum ? "root" : NameText(FieldText(entry.name));
  }

  static std::string Describe(const tagKELO_ItemInfo& entry) {
    if (!IsContainer(entry)) return fmt::format("{}  [{}]", EntryName(entry), EntryId(entry));
    const bool folder = entry.kind == kKELOKind_Folder;
    return fmt::format("{}{}  [{}] {}, {}", EntryName(entry), folder ? "/" : "", EntryId(entry),
                       KindText(entry.kind), CountText(entry.itemCount, folder ? "album" : "item"));
  }

  Library& library_;
  Output& out_;
  const bool items_;
};

}  // namespace

std::string EntryName(const tagKELO_ItemInfo& entry) {
  return entry.kind == kKELOKind_RootAlbum ? "(in no album)" : Shown(FieldText(entry.name));
}

std::string EntryId(const tagKELO_ItemInfo& entry) {
  return entry.kind == kKELOKind_RootAlbum ? "root" : Shown(FieldText(entry.itemId));
}

std::string_view KindText(std::uint32_t kind) {
  if ((kind & kKELOKind_FriendAlbum) != 0) return "friend's album";
  if ((kind & kKELOKind_SharedAlbum) != 0) return "shared album";
  if ((kind & kKELOKind_RootAlbum) != 0) return "root album";
  if ((kind & kKELOKind_Album) != 0) return "album";
  if ((kind & kKELOKind_Folder) != 0) return "folder";
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

bool IsContainer(const tagKELO_ItemInfo& entry) {
  constexpr std::uint32_t kContainers = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FriendAlbum |
                                        kKELOKind_RootAlbum | kKELOKind_SharedAlbum;
  return (entry.kind & kContainers) != 0;
}

void PrintTree(Library& library, Output& out, bool items) {
  TreePrinter(library, out, items).Print();
}

}  // namespace kelo::host
