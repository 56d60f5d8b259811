// tree, ls, info.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <iterator>
#include <map>
#include <memory>

#include "Dates.h"
#include "EntryJson.h"
#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"
#include "SortOrder.h"
#include "Tree.h"

namespace kelo::host {
namespace {

constexpr const char* kDatesFooter =
    "Dates of files and uploads are on the local clock, those of shots on the camera's.";

struct TreeOptions {
  bool items = false;
  bool json = false;
};

int Tree(Host& host, const TreeOptions& options) {
  if (options.json) host.Out().UseJson();
  PrintTree(host.Loaded(), host.Out(), options.items);
  return 0;
}

// ---- ls ----

struct ListOptions {
  std::string target;
  bool all = false;
  bool json = false;
  SortOrder order;
};

std::vector<tagKELO_ItemInfo> Listed(Library& library, const ListOptions& options) {
  constexpr std::uint32_t kTop = kKELOKind_RootAlbum | kKELOKind_Folder | kKELOKind_Album;
  if (options.all)
    return library.List(KELO_ALL_ITEMS_ID, kTop | kKELOKind_FileItem | kKELOKind_FriendAlbum);
  if (options.target.empty() || options.target == "/") return library.List("", kTop);
  const tagKELO_ItemInfo entry = FindEntry(library, options.target);
  if (!IsContainer(entry)) throw Failure("that is an item, not a folder or album; see 'kelo info'");
  return library.List(FieldText(entry.itemId),
                      entry.kind == kKELOKind_Folder ? kKELOKind_Album : kKELOKind_FileItem);
}

// Lines for a listing of any length, handed on in large pieces.
class Rows {
 public:
  explicit Rows(Output& out) : out_(out) {}
  ~Rows() { Flush(); }

  void Add(const tagKELO_ItemInfo& entry, SortKey key) {
    fmt::format_to(std::back_inserter(text_), "{:<27}  {:<16}  {:<16}  {}\n", EntryId(entry),
                   Kind(entry), DateText(DateOf(entry, key)), EntryName(entry));
    if (text_.size() >= kPiece) Flush();
  }

 private:
  static constexpr std::size_t kPiece = 1u << 16;

  static std::string Kind(const tagKELO_ItemInfo& entry) {
    if (!IsContainer(entry)) return std::string(FormatText(entry.fileFormat));
    return fmt::format("{} ({})", KindText(entry.kind), std::uint32_t{entry.itemCount});
  }

  void Flush() {
    if (text_.size() != 0) out_.Line({text_.data(), text_.size() - 1});
    text_.clear();
  }

  Output& out_;
  fmt::memory_buffer text_;
};

int List(Host& host, const ListOptions& options) {
  if (options.json) host.Out().UseJson();
  const auto entries = Listed(host.Loaded(), options);
  Rows rows(host.Out());
  for (const tagKELO_ItemInfo* entry : Sorted(entries, options.order))
    if (options.json)
      host.Out().Result("", EntryJson(*entry));
    else
      rows.Add(*entry, options.order.key);
  if (entries.empty()) host.Out().Note("nothing in it");
  return 0;
}

// ---- info ----

struct InfoOptions {
  std::string wanted;
  bool fresh = false;
  bool json = false;
};

// What the service tells of an item now, completed by what is known of it: the service's answer
// has neither the kind nor the album.
tagKELO_ItemInfo FreshInfo(Host& host, const std::string& wanted) {
  tagKELO_ItemInfo known = FindEntry(host.Loaded(), wanted);
  if (IsContainer(known))
    throw Failure(
        fmt::format("'{}' is not an item; the service tells about items alone", Shown(wanted)));
  tagKELO_ItemInfo fresh = host.Loaded().Info(FieldText(known.itemId), true);
  fresh.kind = known.kind;
  CopyText(fresh.parentId, FieldText(known.parentId));
  return fresh;
}

void ShowInfo(Output& out, const tagKELO_ItemInfo& entry) {
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
  const std::string_view parent = FieldText(entry.parentId);
  field("in", parent == KELO_ROOT_ALBUM_ID ? "root" : parent);
  field("modified", DateText(FieldText(entry.modifyDate)));
  field("shot", DateText(FieldText(entry.shotDate)));
  field("uploaded", DateText(FieldText(entry.uploadDate)));
  field("original", FieldText(entry.origUrl));
  field("screen", FieldText(entry.screenUrl));
}

int Info(Host& host, const InfoOptions& options) {
  if (options.json) host.Out().UseJson();
  const tagKELO_ItemInfo entry =
      options.fresh ? FreshInfo(host, options.wanted) : FindEntry(host.Loaded(), options.wanted);
  if (options.json)
    host.Out().Result("", EntryJson(entry));
  else
    ShowInfo(host.Out(), entry);
  if (options.fresh) host.Out().Note("the service tells no more: no size, caption, rating or tags");
  return 0;
}

void AddInfo(CLI::App& app, Action& chosen) {
  CLI::App* info = app.add_subcommand("info", "Show one item, album or folder");
  const auto options = std::make_shared<InfoOptions>();
  info->add_option("ENTRY", options->wanted, "Its id, name or path")->required();
  info->add_flag("--fresh", options->fresh, "What the service tells now, of an item");
  info->add_flag("--json", options->json, kJsonHelp);
  info->footer(kDatesFooter);
  info->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Info(host, *options); }; });
}

void AddTree(CLI::App& app, Action& chosen) {
  CLI::App* tree = app.add_subcommand("tree", "Show the account's folders and albums as a tree");
  const auto options = std::make_shared<TreeOptions>();
  tree->add_flag("--items,-i", options->items, "Show the items too");
  tree->add_flag("--json", options->json, kJsonHelp);
  tree->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Tree(host, *options); }; });
}

void AddList(CLI::App& app, Action& chosen) {
  CLI::App* list = app.add_subcommand("ls", "List what is in an album, a folder or the account");
  const auto options = std::make_shared<ListOptions>();
  CLI::Option* target =
      list->add_option("PLACE", options->target,
                       "Id, name or path of an album or folder; 'root' for the items in no album; "
                       "without it, the top");
  list->add_flag("--all,-a", options->all, "Everything on the account, friends' albums included")
      ->excludes(target);
  static const std::map<std::string, SortKey> kKeys = {
      {"name", SortKey::Name}, {"shot", SortKey::Shot}, {"upload", SortKey::Upload}};
  list->add_option("--sort", options->order.key, "By name, shot or upload date: name, shot, upload")
      ->transform(CLI::CheckedTransformer(kKeys).description(""))
      ->type_name("KEY");
  list->add_flag("--reverse,-r", options->order.reverse, "In the reverse order");
  list->add_flag("--json", options->json, kJsonHelp);
  list->footer(std::string("Columns: id, kind, date (of the shot, where known; with --sort upload, "
                           "of the upload), name. "
                           "Without --sort the service's order. ") +
               kDatesFooter);
  list->callback(
      [options, &chosen] { chosen = [options](Host& host) { return List(host, *options); }; });
}

}  // namespace

void AddBrowseCommands(CLI::App& app, Action& chosen) {
  AddTree(app, chosen);
  AddList(app, chosen);
  AddInfo(app, chosen);
}

}  // namespace kelo::host
