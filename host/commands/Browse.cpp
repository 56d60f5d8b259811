// The commands tree, ls and info, which show what is in the account.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <map>
#include <vector>

#include "host/account/AccountTree.h"
#include "host/account/EntryJson.h"
#include "host/account/Find.h"
#include "host/account/Listing.h"
#include "host/account/NameOrder.h"
#include "host/account/PrintTree.h"
#include "host/commands/Command.h"
#include "host/names/Dates.h"
#include "host/names/EntryWords.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

constexpr const char* kDatesFooter =
    "Dates of files and uploads are on the local clock, those of shots on the camera's.";

struct TreeOptions {
  bool items = false;
  bool json = false;
};

int Tree(Host& host, const TreeOptions& options) {
  host.Out().KeepResults();
  return PrintTree(host.Loaded(), host.Out(), options.items) ? 0 : 1;
}

// ---- ls ----

constexpr Kind kTopKinds = Kind::RootAlbum | Kind::Folder | Kind::Album;

struct ListOptions {
  std::string target;
  bool all = false;
  bool json = false;
  SortOrder order;
};

std::vector<Item> Sorted(const NameOrder& names, std::vector<Item> entries) {
  names.Sort(entries);
  return entries;
}

// Everything on the account: each folder and album, followed by its items. Whether nothing was left
// out.
bool ListAll(Library& library, Listing& listing) {
  const NameOrder names;
  AccountTree tree(library);
  for (const auto& container :
       Sorted(names, library.List(kEverything, kTopKinds | Kind::FriendAlbum))) {
    listing.Add(container);
    if (container.kind == Kind::Folder) continue;
    for (const auto& item : Sorted(names, tree.Below(container))) listing.Add(item);
  }
  return tree.LeftOutCount() == 0;
}

void ListOne(Library& library, const std::string& target, Listing& listing) {
  const Item entry = FindEntry(library, target);
  if (!IsContainer(entry))
    throw Failure(
        fmt::format("'{}' is an item, not a folder or album; 'kelo info' shows it", Shown(target)));
  const Kind below = entry.kind == Kind::Folder ? Kind::Album : Kind::FileItem;
  for (const auto& child : Sorted(NameOrder(), library.List(entry.id, below))) listing.Add(child);
}

int List(Host& host, const ListOptions& options) {
  host.Out().KeepResults();
  Library& library = host.Loaded();
  Listing listing(host.Out(), options.order);
  bool whole = true;
  if (options.all)
    whole = ListAll(library, listing);
  else if (!options.target.empty() && options.target != "/")
    ListOne(library, options.target, listing);
  else
    for (const auto& entry : Sorted(NameOrder(), library.List(kRoot, kTopKinds)))
      listing.Add(entry);
  if (!listing.Finish())
    host.Out().Note(options.target.empty() ? "the account is empty"
                                           : fmt::format("'{}' is empty", Shown(options.target)));
  return whole ? 0 : 1;
}

// ---- info ----

struct InfoOptions {
  std::string wanted;
  bool fresh = false;
  bool json = false;
};

// What the service tells of an item now, completed by what is known of it: the service's answer
// has neither the kind nor the album.
Item FreshInfo(Host& host, const std::string& wanted) {
  Item known = FindEntry(host.Loaded(), wanted);
  if (IsContainer(known))
    throw Failure(fmt::format("'{}' is not an item; --fresh works for items only", Shown(wanted)));
  Item fresh = host.Loaded().FreshInfo(known.id);
  fresh.kind = known.kind;
  fresh.parentId = known.parentId;
  return fresh;
}

// The folder or album that the entry lies in: "Lisbon  [id]"; empty at the top.
std::string PlaceOf(Library& library, const Item& entry) {
  const std::string_view id = entry.parentId;
  if (id.empty() || id == kRootAlbum) return id.empty() ? "" : "root";
  try {
    return fmt::format("{}  [{}]", Composed(library.Info(id).name), id);
  } catch (const Error& failure) {
    if (failure.Code() != kKELOResult_BadParameter) throw;
    return fmt::format("[{}]", id);  // which was cut
  }
}

void ShowInfo(Output& out, const Item& entry, const std::string& place) {
  const auto field = [&out](std::string_view label, std::string_view text) {
    if (!text.empty()) out.Line(fmt::format("{:<10}{}", label, Shown(text)));
  };
  field("name", EntryName(entry));
  field("id", EntryId(entry));
  field("kind", KindText(entry.kind));
  if (IsContainer(entry))
    field("items", std::to_string(entry.itemCount));
  else
    field("format", FormatText(entry.fileFormat));
  field("in", place);
  field("modified", DateText(entry.modifyDate, DateClock::kUniversal));
  field("shot", DateText(entry.shotDate, DateClock::kCamera));
  field("uploaded", DateText(entry.uploadDate, DateClock::kUniversal));
  field("original", entry.originalUrl);
  field("screen", entry.screenUrl);
}

int Info(Host& host, const InfoOptions& options) {
  host.Out().KeepResults();
  const Item entry =
      options.fresh ? FreshInfo(host, options.wanted) : FindEntry(host.Loaded(), options.wanted);
  if (options.json)
    host.Out().Result("", EntryJson(entry));
  else
    ShowInfo(host.Out(), entry, PlaceOf(host.Loaded(), entry));
  if (options.fresh) host.Out().Note("the service does not tell size, caption, rating or tags");
  return 0;
}

void AddInfo(CLI::App& app, Action& chosen) {
  const auto [info, options] =
      AddCommand(app, chosen, "info", "Show one item, album or folder", Info);
  info->add_option("ENTRY", options->wanted, "Its id, name or path")->required();
  info->add_flag("--fresh", options->fresh, "Ask the service what it knows of the item now");
  info->add_flag("--json", options->json, kJsonHelp);
  info->footer(kDatesFooter);
}

void AddTree(CLI::App& app, Action& chosen) {
  const auto [tree, options] =
      AddCommand(app, chosen, "tree", "Show the account's folders and albums as a tree", Tree);
  tree->add_flag("--items,-i", options->items, "Show the items too");
  tree->add_flag("--json", options->json, kJsonHelp);
}

void AddList(CLI::App& app, Action& chosen) {
  const auto [list, options] =
      AddCommand(app, chosen, "ls", "List what is in an album, a folder or the account", List);
  CLI::Option* target =
      list->add_option("PLACE", options->target,
                       "Id, name or path of an album or folder; 'root' for the items in no album; "
                       "without it, the top");
  list->add_flag("--all,-a", options->all, "Everything on the account, friends' albums included")
      ->excludes(target);
  static const std::map<std::string, ListingKey> kKeys = {
      {"name", ListingKey::kName}, {"shot", ListingKey::kShot}, {"upload", ListingKey::kUpload}};
  list->add_option_function<std::string>(
          "--sort",
          [&order = options->order](const std::string& key) { order.key = kKeys.at(key); },
          "Sort by name, by the date of the shot, or by the date of the upload")
      ->check(CLI::IsMember(&kKeys).description(""))
      ->type_name("name|shot|upload");
  list->add_flag("--reverse,-r", options->order.reverse, "In the reverse order");
  list->add_flag("--json", options->json, kJsonHelp);
  list->footer(std::string("Columns: id, kind, date (of the shot, where known; with --sort upload, "
                           "of the upload), name. With --sort, a ~ before an item's date: only "
                           "that of its file, the other is not known. "
                           "Without --sort: folders, albums, items, each by name. ") +
               kDatesFooter);
}

}  // namespace

void AddBrowseCommands(CLI::App& app, Action& chosen) {
  AddTree(app, chosen);
  AddList(app, chosen);
  AddInfo(app, chosen);
}

}  // namespace kelo::host
