// tree, ls, info.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"
#include "Tree.h"

namespace kelo::host {
namespace {

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

int Tree(Host& host, bool items) {
  PrintTree(host.Loaded(), items);
  return 0;
}

// ---- ls ----

struct ListOptions {
  std::string target;
  bool all = false;
};

void PrintRow(const tagKELO_ItemInfo& entry) {
  const bool file = !IsContainer(entry);
  const std::string date = Shown(file && entry.shotDate[0] != '\0' ? FieldText(entry.shotDate)
                                                                   : FieldText(entry.modifyDate));
  const std::string kind = file ? std::string(FormatText(entry.fileFormat))
                                : fmt::format("{} ({})", KindText(entry.kind), entry.itemCount);
  fmt::print("{:<27}  {:<16}  {:<20}  {}\n", EntryId(entry), kind, date, EntryName(entry));
}

int List(Host& host, const ListOptions& options) {
  Library& library = host.Loaded();
  std::string target;
  std::uint32_t kinds = kKELOKind_RootAlbum | kKELOKind_Folder | kKELOKind_Album;
  if (options.all) {
    target = KELO_ALL_ITEMS_ID;
    kinds |= kKELOKind_FileItem | kKELOKind_FriendAlbum;
  } else if (!options.target.empty()) {
    const tagKELO_ItemInfo entry = FindEntry(library, options.target);
    if (!IsContainer(entry))
      throw Failure("that is an item, not a folder or album; see 'kelo info'");
    target = FieldText(entry.itemId);
    kinds = entry.kind == kKELOKind_Folder ? kKELOKind_Album : kKELOKind_FileItem;
  }
  const auto entries = library.List(target, kinds);
  for (const auto& entry : entries) PrintRow(entry);
  if (entries.empty()) fmt::print(stderr, "nothing in it\n");
  return 0;
}

// ---- info ----

void PrintField(std::string_view label, std::string_view text) {
  if (!text.empty()) fmt::print("{:<10}{}\n", label, Shown(text));
}

int Info(Host& host, const std::string& wanted, bool fresh) {
  // Only what the service calls an id can be asked for afresh, and needs no loaded account.
  const tagKELO_ItemInfo entry =
      fresh ? host.WithSession().Info(wanted, true) : FindEntry(host.Loaded(), wanted);
  PrintField("name", EntryName(entry));
  PrintField("id", EntryId(entry));
  PrintField("kind", KindText(entry.kind));
  if (IsContainer(entry))
    PrintField("items", std::to_string(entry.itemCount));
  else
    PrintField("format", FormatText(entry.fileFormat));
  PrintField("in",
             FieldText(entry.parentId) == KELO_ROOT_ALBUM_ID ? "root" : FieldText(entry.parentId));
  PrintField("modified", FieldText(entry.modifyDate));
  PrintField("shot", FieldText(entry.shotDate));
  PrintField("uploaded", FieldText(entry.uploadDate));
  PrintField("original", FieldText(entry.origUrl));
  PrintField("screen", FieldText(entry.screenUrl));
  return 0;
}

void AddInfo(CLI::App& app, Action& chosen) {
  CLI::App* info = app.add_subcommand("info", "Show one item, album or folder");
  const auto wanted = std::make_shared<std::string>();
  const auto fresh = std::make_shared<bool>(false);
  info->add_option("ID", *wanted, "Its id, or the name of an album or folder")->required();
  info->add_flag("--fresh", *fresh,
                 "Ask the service about this one item instead of loading the account");
  info->callback([wanted, fresh, &chosen] {
    chosen = [wanted, fresh](Host& host) { return Info(host, *wanted, *fresh); };
  });
}

}  // namespace

void AddBrowseCommands(CLI::App& app, Action& chosen) {
  CLI::App* tree = app.add_subcommand("tree", "Show the account's folders and albums as a tree");
  const auto items = std::make_shared<bool>(false);
  tree->add_flag("--items,-i", *items, "Show the items too");
  tree->callback([items, &chosen] { chosen = [items](Host& host) { return Tree(host, *items); }; });

  CLI::App* list = app.add_subcommand("ls", "List what is in an album, a folder or the account");
  const auto options = std::make_shared<ListOptions>();
  CLI::Option* target = list->add_option(
      "ALBUM", options->target,
      "Id or name of an album or folder; 'root' for the items in no album; without it, the top");
  list->add_flag("--all,-a", options->all, "Everything on the account, friends' albums included")
      ->excludes(target);
  list->footer("Columns: id, kind, date (of the shot, where known), name.");
  list->callback(
      [options, &chosen] { chosen = [options](Host& host) { return List(host, *options); }; });
  AddInfo(app, chosen);
}

}  // namespace kelo::host
