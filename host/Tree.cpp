// Drawing of the tree, and the words for its entries.
#include "Tree.h"

#include <fmt/format.h>

#include "Names.h"
#include "Records.h"

namespace kelo::host {
namespace {

class TreePrinter {
 public:
  TreePrinter(Library& library, bool items) : library_(library), items_(items) {}

  void Print() {
    fmt::print("Account\n");
    Children("", kKELOKind_RootAlbum | kKELOKind_Folder | kKELOKind_Album, "");
    const auto friends = library_.List(KELO_ALL_ITEMS_ID, kKELOKind_FriendAlbum);
    if (friends.empty()) return;
    fmt::print("Friends' albums\n");
    Entries(friends, "");
  }

 private:
  void Children(std::string_view target, std::uint32_t kinds, const std::string& indent) {
    Entries(library_.List(target, kinds), indent);
  }

  void Entries(const std::vector<tagKELO_ItemInfo>& entries, const std::string& indent) {
    for (std::size_t at = 0; at < entries.size(); ++at) {
      const bool last = at + 1 == entries.size();
      const tagKELO_ItemInfo& entry = entries[at];
      fmt::print("{}{}{}\n", indent, last ? "└── " : "├── ", Describe(entry));
      Below(entry, indent + (last ? "    " : "│   "));
    }
  }

  void Below(const tagKELO_ItemInfo& entry, const std::string& indent) {
    const std::string_view id = FieldText(entry.itemId);
    if (entry.kind == kKELOKind_Folder)
      Children(id, kKELOKind_Album, indent);
    else if (items_ && IsContainer(entry))
      Children(id, kKELOKind_FileItem, indent);
  }

  static std::string Describe(const tagKELO_ItemInfo& entry) {
    if (!IsContainer(entry)) return fmt::format("{}  [{}]", EntryName(entry), EntryId(entry));
    const bool folder = entry.kind == kKELOKind_Folder;
    return fmt::format("{}{}  [{}] {}, {}", EntryName(entry), folder ? "/" : "", EntryId(entry),
                       KindText(entry.kind), CountText(entry.itemCount, folder ? "album" : "item"));
  }

  Library& library_;
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

bool IsContainer(const tagKELO_ItemInfo& entry) {
  constexpr std::uint32_t kContainers = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FriendAlbum |
                                        kKELOKind_RootAlbum | kKELOKind_SharedAlbum;
  return (entry.kind & kContainers) != 0;
}

void PrintTree(Library& library, bool items) {
  TreePrinter(library, items).Print();
}

}  // namespace kelo::host
