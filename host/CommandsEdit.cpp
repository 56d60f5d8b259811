// caption, rate, tag, mkdir, mkalbum, link.
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

// Records cut what is too long without a word; here it is an error instead.
CLI::Validator AtMost(std::size_t bytes) {
  return CLI::Validator(
      [bytes](std::string& text) {
        return text.size() > bytes ? fmt::format("'{}...' is longer than {} bytes",
                                                 Shown(text.substr(0, 20)), bytes)
                                   : std::string();
      },
      "");
}

int Caption(Host& host, const std::string& id, const std::string& text) {
  tagKELO_PropertyInfo properties{};
  CopyText(properties.caption, text);
  properties.captionFlag = text.empty() ? 0 : 1;
  properties.propertyMask = kKELOProperty_Caption | kKELOProperty_CaptionFlag;
  host.WithSession().ModifyProps(id, properties);
  fmt::print("caption {}\n", text.empty() ? "removed" : "set");
  return 0;
}

int Rate(Host& host, const std::string& id, std::uint32_t rating) {
  tagKELO_PropertyInfo properties{};
  properties.rating = rating;
  properties.propertyMask = kKELOProperty_Rating;
  host.WithSession().ModifyProps(id, properties);
  fmt::print("rated {}\n", rating);
  return 0;
}

int Tag(Host& host, const std::string& wanted, const std::string& tags) {
  Library& library = host.Loaded();
  const tagKELO_ItemInfo entry = FindEntry(library, wanted);
  const std::string_view id = FieldText(entry.itemId);
  if (IsContainer(entry) && entry.itemCount == 0)
    throw Failure("the album has no items that tags could be added to");
  library.AddTags(id, entry.kind, tags);
  fmt::print("tags added{}\n",
             IsContainer(entry) ? " to " + CountText(entry.itemCount, "item") : "");
  return 0;
}

// Prints each new container, or why there is none.
int MakeContainers(Library& library, const std::vector<std::string>& names, std::uint32_t kind,
                   const std::string& parent) {
  std::vector<tagKELO_ItemInfo> records(names.size());
  for (std::size_t at = 0; at < names.size(); ++at) {
    records[at].kind = kind;
    CopyText(records[at].name, names[at]);
  }
  const std::uint32_t result = library.AddContainers(parent, records);
  bool failed = result != kKELOResult_Success;
  for (std::size_t at = 0; at < names.size(); ++at) {
    if (records[at].result == 0 && records[at].itemId[0] != '\0') {
      fmt::print("{}  {}\n", Shown(FieldText(records[at].itemId)), Shown(names[at]));
    } else {
      failed = true;
      const std::uint32_t code = records[at].result != 0 ? records[at].result : result;
      fmt::print(stderr, "kelo: cannot create '{}': {}\n", Shown(names[at]),
                 ResultText(code, kKELOCommand_AddItems));
    }
  }
  if (result == kKELOResult_Aborted) throw CommandFailure("create", result, kKELOCommand_AddItems);
  return failed ? 1 : 0;
}

int MakeAlbums(Host& host, const std::vector<std::string>& names, const std::string& folder) {
  if (folder.empty()) return MakeContainers(host.WithSession(), names, kKELOKind_Album, "");
  const tagKELO_ItemInfo parent = FindEntry(host.Loaded(), folder);
  if (parent.kind != kKELOKind_Folder)
    throw Failure(fmt::format("'{}' is not a folder", Shown(folder)));
  return MakeContainers(host.Loaded(), names, kKELOKind_Album,
                        std::string(FieldText(parent.itemId)));
}

int Link(Host& host, const std::string& wanted, const std::vector<std::string>& items) {
  Library& library = host.Loaded();
  const tagKELO_ItemInfo album = FindAlbum(library, wanted);
  std::vector<tagKELO_AddLinkInfo> links(items.size());
  for (std::size_t at = 0; at < items.size(); ++at) CopyText(links[at].itemIdList, items[at]);
  const std::uint32_t result = library.AddLinks(FieldText(album.itemId), links);
  std::size_t failed = 0;
  for (std::size_t at = 0; at < items.size(); ++at) {
    const std::uint32_t code = links[at].result != 0 ? links[at].result : result;
    if (code == 0) continue;
    ++failed;
    fmt::print(stderr, "kelo: cannot add {}: {}\n", Shown(items[at]),
               ResultText(code, kKELOCommand_AddNewLink));
  }
  if (result == kKELOResult_Aborted) throw CommandFailure("link", result, kKELOCommand_AddNewLink);
  fmt::print("{} of {} added to {}\n", items.size() - failed, CountText(items.size(), "item"),
             Shown(FieldText(album.name)));
  return failed == 0 ? 0 : 1;
}

// A command of two plain arguments.
void AddPairCommand(CLI::App& app, Action& chosen, const char* name, const char* about,
                    const char* idText, const char* label, const char* labelText, std::size_t most,
                    int (*run)(Host&, const std::string&, const std::string&)) {
  CLI::App* command = app.add_subcommand(name, about);
  const auto id = std::make_shared<std::string>();
  const auto text = std::make_shared<std::string>();
  command->add_option("ID", *id, idText)->required();
  command->add_option(label, *text, labelText)->required()->check(AtMost(most));
  command->callback([=, &chosen] { chosen = [=](Host& host) { return run(host, *id, *text); }; });
}

void AddContainerCommands(CLI::App& app, Action& chosen) {
  const auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* folder = app.add_subcommand("mkdir", "Create folders");
  folder->add_option("NAME", *names, "Names of the folders")->required()->check(AtMost(255));
  folder->callback([names, &chosen] {
    chosen = [names](Host& host) {
      return MakeContainers(host.WithSession(), *names, kKELOKind_Folder, "");
    };
  });
  const auto albums = std::make_shared<std::vector<std::string>>();
  const auto parent = std::make_shared<std::string>();
  CLI::App* album = app.add_subcommand("mkalbum", "Create albums");
  album->add_option("NAME", *albums, "Names of the albums")->required()->check(AtMost(255));
  album->add_option("--folder", *parent,
                    "Id or name of the folder to create them in; without it, at the top");
  album->callback([albums, parent, &chosen] {
    chosen = [albums, parent](Host& host) { return MakeAlbums(host, *albums, *parent); };
  });
}

}  // namespace

void AddEditCommands(CLI::App& app, Action& chosen) {
  AddPairCommand(app, chosen, "caption", "Give an item a caption", "Id of the item", "TEXT",
                 "The caption; '' removes it", 319, Caption);
  CLI::App* rate = app.add_subcommand("rate", "Rate an item");
  const auto id = std::make_shared<std::string>();
  const auto rating = std::make_shared<std::uint32_t>();
  rate->add_option("ID", *id, "Id of the item")->required();
  rate->add_option("N", *rating, "The rating")->required()->check(CLI::Range(0, 5));
  rate->callback([id, rating, &chosen] {
    chosen = [id, rating](Host& host) { return Rate(host, *id, *rating); };
  });
  AddPairCommand(app, chosen, "tag", "Add tags to an item, or to all items of an album",
                 "Id of the item, or id or name of the album", "TAGS",
                 "The tags, separated by commas", 903, Tag);
  AddContainerCommands(app, chosen);
  CLI::App* link = app.add_subcommand("link", "Add stored items to an album");
  const auto album = std::make_shared<std::string>();
  const auto items = std::make_shared<std::vector<std::string>>();
  link->add_option("ALBUM", *album, "Id or name of the album")->required();
  link->add_option("ITEM", *items, "Ids of the items")->required()->check(AtMost(42));
  link->callback([album, items, &chosen] {
    chosen = [album, items](Host& host) { return Link(host, *album, *items); };
  });
}

}  // namespace kelo::host
