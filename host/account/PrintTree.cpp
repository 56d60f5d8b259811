// Draws the tree line by line, as it is walked.
#include "host/account/PrintTree.h"

#include <fmt/format.h>

#include <utility>

#include "host/account/AccountTree.h"
#include "host/account/EntryJson.h"
#include "host/account/NameOrder.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

class TreePrinter {
 public:
  TreePrinter(Library& library, Output& out, bool items)
      : tree_(library), out_(out), items_(items) {}

  bool Print() {
    out_.Line("Account");
    Entries(tree_.Top(), {});
    Section("Friends' albums", tree_.Friends());
    Section("Not below anything shown", tree_.Others());
    return tree_.LeftOutCount() == 0;
  }

 private:
  // What stands before the lines below an entry, and before the names in their paths.
  struct Above {
    std::string indent;
    std::string path;
  };

  void Section(std::string_view heading, std::vector<Item> entries) {
    if (!entries.empty()) out_.Line(heading);
    Entries(std::move(entries), {});
  }

  void Entries(std::vector<Item> entries, const Above& above) {
    names_.Sort(entries);
    for (size_t at = 0; at < entries.size(); ++at) {
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
    if (entry.kind == Kind::Folder || (items_ && IsContainer(entry)))
      Entries(tree_.Below(entry), above);
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

  const NameOrder names_;
  AccountTree tree_;
  Output& out_;
  const bool items_;
};

}  // namespace

bool PrintTree(Library& library, Output& out, bool items) {
  return TreePrinter(library, out, items).Print();
}

}  // namespace kelo::host
