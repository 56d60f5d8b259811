// The commands caption, rate, tag and link, which change what is stored.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "commandline/WrongUsage.h"
#include "host/account/EntryJson.h"
#include "host/account/Find.h"
#include "host/commands/Arguments.h"
#include "host/commands/Host.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// The id of an item that a person named.
std::string FindItem(Library& library, const std::string& wanted) {
  const Item entry = FindEntry(library, wanted);
  if (IsContainer(entry)) throw Failure(fmt::format("'{}' is not an item", Shown(wanted)));
  return std::string(entry.id);
}

int Caption(Host& host, const std::string& wanted, const std::string& text) {
  host.LockAccount();
  host.Loaded().Modify(FindItem(host.Loaded(), wanted),
                       {.caption = text, .captionFlag = !text.empty()});
  host.Out().Line(text.empty() ? "caption removed" : "caption set");
  return 0;
}

int Rate(Host& host, const std::string& wanted, std::uint32_t rating) {
  host.LockAccount();
  host.Loaded().Modify(FindItem(host.Loaded(), wanted), {.rating = rating});
  host.Out().Line(fmt::format("rated {}", rating));
  return 0;
}

int Tag(Host& host, const std::string& wanted, const std::string& tags) {
  host.LockAccount();
  Library& library = host.Loaded();
  const Item entry = FindEntry(library, wanted);
  if (IsContainer(entry) && entry.itemCount == 0)
    throw Failure("the album has no items that tags could be added to");
  library.AddTags(entry.id, tags);
  host.Out().Line("tags added" +
                  (IsContainer(entry) ? " to " + CountText(entry.itemCount, "item") : ""));
  return 0;
}

struct LinkOptions {
  std::string album;
  std::vector<std::string> items;
  bool json = false;
};

// One item that is to be in an album too.
struct NewLink {
  std::string item;  // as a person names it
  std::string id;
  std::uint32_t code = 0;
  std::string problem;  // empty: it is in the album now
};

// Finds the items; what is none has a problem.
std::vector<NewLink> NamedItems(Library& library, const std::vector<std::string>& items) {
  std::vector<NewLink> found;
  for (const std::string& item : items) {
    NewLink& link = found.emplace_back(NewLink{item, {}, 0, {}});
    try {
      link.id = FindItem(library, item);
    } catch (const CommandFailure&) {
      throw;
    } catch (const Failure& failure) {
      link.problem = failure.what();
    }
  }
  return found;
}

void AddLinks(Library& library, std::string_view album, std::vector<NewLink>& wanted) {
  std::vector<std::string> ids;
  for (const NewLink& link : wanted)
    if (link.problem.empty()) ids.push_back(link.id);
  const auto added = library.AddLinks(album, ids);
  auto outcome = added.begin();
  for (NewLink& link : wanted) {
    if (!link.problem.empty()) continue;
    const std::optional<kelo::Error>& error = (outcome++)->error;
    if (!error) continue;
    link.code = error->Code();
    link.problem = ResultText(link.code, kKELOCommand_AddNewLink);
  }
  if (!added.empty() && added.back().error && added.back().error->Code() == kKELOResult_Aborted)
    throw CommandFailure("link", kKELOResult_Aborted, kKELOCommand_AddNewLink);
}

void Tell(Output& out, const NewLink& link) {
  const std::string sentence = fmt::format("cannot add '{}': {}", Shown(link.item), link.problem);
  if (!out.IsJson()) {
    if (!link.problem.empty()) out.Problem(sentence);
    return;
  }
  Json object = {{"id", IdJson(link.id)}, {"named", link.item}};
  if (!link.problem.empty()) {
    object["error"] = link.code == 0
                          ? Json{{"code", kKELOResult_BadParameter}, {"message", link.problem}}
                          : ErrorJson(link.code, kKELOCommand_AddNewLink);
  }
  out.Result("", object);
}

int Link(Host& host, const LinkOptions& options) {
  Output& out = host.Out();
  if (options.json) out.UseJson();
  host.LockAccount();
  Library& library = host.Loaded();
  const Item album = FindAlbum(library, options.album);
  std::vector<NewLink> links = NamedItems(library, options.items);
  AddLinks(library, album.id, links);
  size_t added = 0;
  for (const NewLink& link : links) {
    Tell(out, link);
    added += link.problem.empty() ? 1 : 0;
  }
  out.Line(fmt::format("{} of {} added to {}", added, CountText(links.size(), "item"),
                       Shown(album.name)));
  return added == links.size() ? 0 : 1;
}

// An argument: its label, and what the help says about it.
struct Argument {
  const char* label;
  const char* about;
};

// A command of two plain arguments, the second of which has a length that must not be exceeded.
void AddPairCommand(CLI::App& app, Action& chosen, const char* name, const char* about,
                    const Argument& target, const Argument& text, size_t most,
                    int (*run)(Host&, const std::string&, const std::string&)) {
  CLI::App* command = app.add_subcommand(name, about);
  const auto wanted = std::make_shared<std::string>();
  const auto content = std::make_shared<std::string>();
  command->add_option(target.label, *wanted, target.about)->required();
  command->add_option(text.label, *content, text.about)->required()->check(AtMost(most));
  command->callback(
      [=, &chosen] { chosen = [=](Host& host) { return run(host, *wanted, *content); }; });
}

void AddLinkCommand(CLI::App& app, Action& chosen) {
  CLI::App* link = app.add_subcommand("link", "Add stored items to an album");
  const auto options = std::make_shared<LinkOptions>();
  link->add_option("ALBUM", options->album, "Id, name or path of the album")->required();
  link->add_option("ITEM", options->items, "Ids, names or paths of the items")->required();
  link->add_flag("--json", options->json, kJsonHelp);
  link->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Link(host, *options); }; });
}

}  // namespace

void AddEditCommands(CLI::App& app, Action& chosen) {
  AddPairCommand(app, chosen, "caption", "Give an item a caption",
                 {"ITEM", "Id, name or path of the item"}, {"TEXT", "The caption; '' removes it"},
                 319, Caption);
  CLI::App* rate = app.add_subcommand("rate", "Rate an item");
  const auto item = std::make_shared<std::string>();
  const auto rating = std::make_shared<std::uint32_t>();
  rate->add_option("ITEM", *item, "Id, name or path of the item")->required();
  rate->add_option("N", *rating, "The rating")->required()->check(NumberBetween(0, 5));
  rate->callback([item, rating, &chosen] {
    chosen = [item, rating](Host& host) { return Rate(host, *item, *rating); };
  });
  AddPairCommand(app, chosen, "tag", "Add tags to an item, or to all items of an album",
                 {"TARGET", "Id, name or path of the item or album"},
                 {"TAGS", "The tags, separated by commas"}, 903, Tag);
  AddLinkCommand(app, chosen);
}

}  // namespace kelo::host
