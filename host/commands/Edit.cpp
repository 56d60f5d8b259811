// The commands caption, rate, tag and link, which change what is stored.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "commandline/WrongUsage.h"
#include "host/account/EntryJson.h"
#include "host/account/Find.h"
#include "host/commands/Command.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// The id of an item that a person named.
std::string FindItem(Library& library, const std::string& wanted) {
  const Item entry = FindEntry(library, wanted);
  if (IsContainer(entry))
    throw Failure(
        fmt::format("'{}' is {}; name an item", Shown(wanted), KindWithArticle(entry.kind)));
  return std::string(entry.id);
}

struct EditOptions {
  std::string target;  // as a person names it
  std::string text;
  std::uint32_t rating = 0;
  bool json = false;
};

// What was done, and to which entry.
void Tell(Output& out, const EditOptions& options, const std::string& id, const std::string& words,
          const Json& done) {
  Json object = {{"id", IdJson(id)}, {"named", options.target}};
  object.update(done);
  out.Result(fmt::format("{}: {}", Shown(options.target), words), object);
}

int Caption(Host& host, const EditOptions& options) {
  host.LockAccount();
  const std::string id = FindItem(host.Loaded(), options.target);
  host.Loaded().Modify(id, {.caption = options.text, .captionFlag = !options.text.empty()});
  Tell(host.Out(), options, id, options.text.empty() ? "caption removed" : "caption set",
       {{"caption", options.text}});
  return 0;
}

int Rate(Host& host, const EditOptions& options) {
  host.LockAccount();
  const std::string id = FindItem(host.Loaded(), options.target);
  host.Loaded().Modify(id, {.rating = options.rating});
  Tell(host.Out(), options, id, fmt::format("rated {}", options.rating),
       {{"rating", options.rating}});
  return 0;
}

int Tag(Host& host, const EditOptions& options) {
  host.LockAccount();
  Library& library = host.Loaded();
  const Item entry = FindEntry(library, options.target);
  if (IsContainer(entry) && entry.itemCount == 0)
    throw Failure(fmt::format("'{}' has no items, so no tags were added", Shown(options.target)));
  library.AddTags(entry.id, options.text);
  Tell(host.Out(), options, entry.id,
       "tags added" + (IsContainer(entry) ? " to " + CountText(entry.itemCount, "item") : ""),
       {{"tags", options.text}, {"itemCount", IsContainer(entry) ? entry.itemCount : 1}});
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
    throw Error("link", kKELOResult_Aborted, kKELOCommand_AddNewLink);
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
  host.LockAccount();
  Library& library = host.Loaded();
  const Item album = FindAlbum(library, options.album);
  std::vector<NewLink> links = NamedItems(library, options.items);
  host.BeginSummary({{"added", 0}, {"failed", 0}});
  AddLinks(library, album.id, links);
  size_t added = 0;
  for (const NewLink& link : links) {
    Tell(out, link);
    added += link.problem.empty() ? 1 : 0;
    out.Count(link.problem.empty() ? "added" : "failed", 1);
  }
  out.Line(fmt::format("{} of {} added to {}", added, CountText(links.size(), "item"),
                       Shown(album.name)));
  return added == links.size() ? 0 : 1;
}

}  // namespace

void AddEditCommands(CLI::App& app, Action& chosen) {
  const auto [caption, captioned] =
      AddCommand(app, chosen, "caption", "Give an item a caption", Caption);
  caption->add_option("ITEM", captioned->target, "Id, name or path of the item")->required();
  caption->add_option("TEXT", captioned->text, "The caption; '' removes it")
      ->required()
      ->check(AtMost(319));
  caption->add_flag("--json", captioned->json, kJsonHelp);

  const auto [rate, rated] = AddCommand(app, chosen, "rate", "Rate an item", Rate);
  rate->add_option("ITEM", rated->target, "Id, name or path of the item")->required();
  rate->add_option("N", rated->rating, "The rating")->required()->check(NumberBetween(0, 5));
  rate->add_flag("--json", rated->json, kJsonHelp);

  const auto [tag, tagged] =
      AddCommand(app, chosen, "tag", "Add tags to an item, or to all items of an album", Tag);
  tag->add_option("TARGET", tagged->target, "Id, name or path of the item or album")->required();
  tag->add_option("TAGS", tagged->text, "The tags, separated by commas")
      ->required()
      ->check(AtMost(903))
      ->check(HasATag());
  tag->add_flag("--json", tagged->json, kJsonHelp);

  const auto [link, linked] = AddCommand(app, chosen, "link", "Add stored items to an album", Link);
  link->add_option("ALBUM", linked->album, "Id, name or path of the album")->required();
  link->add_option("ITEM", linked->items, "Ids, names or paths of the items")->required();
  link->add_flag("--json", linked->json, kJsonHelp);
}

}  // namespace kelo::host
