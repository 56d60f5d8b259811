// The commands mkdir and mkalbum, which create folders and albums.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>

#include "host/account/EntryJson.h"
#include "host/account/Find.h"
#include "host/commands/Command.h"
#include "host/names/CatalogueNames.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

struct NewContainers {
  Kind kind = Kind::Album;
  std::vector<std::string> names;
  std::string folder;  // as a person names it; empty: the top
  bool force = false;
  bool json = false;
};

// Tells what became of each of the new folders or albums.
class ContainerReport {
 public:
  ContainerReport(Output& out, Kind kind, const std::string& parent) : out_(out) {
    item_.kind = kind;
    item_.parentId = parent;
  }

  void Made(const std::string& name, std::string_view id) {
    out_.Result(fmt::format("{}  {}", Shown(id), Shown(name)), Object(name, id));
  }

  // `error` is for JSON; `id` is of one that is there already.
  void NotMade(const std::string& name, std::string_view id, const std::string& why,
               const Json& error) {
    failed_ = true;
    if (!out_.IsJson())
      return out_.Problem(fmt::format("cannot create '{}': {}", Shown(name), why));
    Json object = Object(name, id);
    object["error"] = error;
    out_.Result("", object);
  }

  bool Failed() const { return failed_; }

 private:
  Json Object(const std::string& name, std::string_view id) {
    item_.id = id;
    Json object = EntryJson(item_);
    object["name"] = name;
    object.erase("itemCount");
    return object;
  }

  Output& out_;
  Item item_{};
  bool failed_ = false;
};

// The entry of that name; of a name that filled its field, the catalogue has the beginning only.
const Item* OfName(const std::vector<Item>& entries, const std::string& name) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) {
    const std::string there = Composed(entry.name);
    return entry.nameMayBeCut ? name.starts_with(there) : name == there;
  });
  return found == entries.end() ? nullptr : &*found;
}

// The names that are to be created; those that are there already are told of and left out.
std::vector<std::string> NotThereYet(Library& library, const std::vector<std::string>& wanted,
                                     Kind kind, const std::string& parent,
                                     ContainerReport& report) {
  const auto there = library.List(parent, kind);
  std::vector<std::string> names;
  for (const std::string& name : wanted) {
    const Item* entry = OfName(there, name);
    if (entry == nullptr && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
      continue;
    }
    const std::string id(entry == nullptr ? "" : entry->id);
    const std::string why = fmt::format(
        "it is {}; --force makes a second one",
        id.empty() ? "named twice in this command" : "there already, with the id " + Shown(id));
    report.NotMade(name, id, why, {{"code", kKELOResult_Conflict}, {"message", why}});
  }
  return names;
}

void Create(Library& library, const std::vector<std::string>& names, Kind kind,
            const std::string& parent, ContainerReport& report) {
  std::vector<NewContainer> wanted;
  for (const std::string& name : names) wanted.push_back({name, kind});
  const auto added = library.AddContainers(parent, wanted);
  for (size_t at = 0; at < names.size(); ++at) {
    if (!added[at].error) {
      report.Made(names[at], added[at].id);
    } else {
      const std::uint32_t code = added[at].error->Code();
      report.NotMade(names[at], {}, ResultText(code, kKELOCommand_AddItems),
                     ErrorJson(code, kKELOCommand_AddItems));
    }
  }
  const auto& last = added.back().error;
  if (last && last->Code() == kKELOResult_Aborted)
    throw Error("create", last->Code(), kKELOCommand_AddItems);
}

// Names of one folder, in the order of the command line.
struct Siblings {
  std::string parent;  // id; empty: the top
  std::vector<std::string> names;
};

// Takes "Journeys/" off "Journeys/Rome" and gives the folder's id; empty where there is no path to
// take. Throws Failure where there is no such folder, and for a folder in a folder, unless forced.
std::string TakeFolder(Library& library, const NewContainers& wanted, std::string& name) {
  if (name.starts_with('/')) name.erase(0, 1);
  const size_t slash = name.find('/');
  if (slash == std::string::npos) return {};
  const std::string above = name.substr(0, slash);
  const auto folder = wanted.kind == Kind::Album ? FindFolderIfAny(library, above) : std::nullopt;
  if (!folder && !wanted.force)
    throw Failure(fmt::format("{}; --force makes '{}' at the top",
                              wanted.kind == Kind::Album
                                  ? fmt::format("there is no folder '{}'", Shown(above))
                                  : "folders can hold only albums",
                              Shown(name)));
  if (!folder) return {};
  const std::string album = name.substr(slash + 1);
  if (album.find('/') != std::string::npos && !wanted.force)
    throw Failure(
        fmt::format("'{}' cannot be made: an album lies in a folder at the top, and folders hold "
                    "no folders; --force makes the album '{}' in '{}'",
                    Shown(name), Shown(album), Shown(above)));
  name = album;
  return folder->id;
}

std::vector<Siblings> ByFolder(Library& library, const NewContainers& wanted) {
  const std::string folder = wanted.folder.empty() ? "" : FindFolder(library, wanted.folder).id;
  std::vector<Siblings> all;
  for (const std::string& given : wanted.names) {
    std::string name = WithoutEndSlash(given);
    const std::string parent = folder.empty() ? TakeFolder(library, wanted, name) : folder;
    if (all.empty() || all.back().parent != parent) all.push_back({parent, {}});
    all.back().names.push_back(std::move(name));
  }
  return all;
}

int MakeContainers(Host& host, const NewContainers& wanted) {
  host.Out().KeepResults();
  host.LockAccount();
  Library& library = host.Loaded();
  bool failed = false;
  for (const auto& [parent, all] : ByFolder(library, wanted)) {
    ContainerReport report(host.Out(), wanted.kind, parent);
    const auto names = wanted.force ? all : NotThereYet(library, all, wanted.kind, parent, report);
    if (!names.empty()) Create(library, names, wanted.kind, parent, report);
    failed = failed || report.Failed();
  }
  return failed ? 1 : 0;
}

auto AddContainerCommand(CLI::App& app, Action& chosen, Kind kind, const char* name,
                         const char* noun) {
  const auto [command, wanted] =
      AddCommand(app, chosen, name, fmt::format("Create {}s", noun), MakeContainers);
  wanted->kind = kind;
  command->add_option("NAME", wanted->names, fmt::format("Names of the {}s", noun))
      ->required()
      ->check(AtMost(255));
  command->add_flag("--force", wanted->force,
                    fmt::format("Create also a second {} of the same name", noun));
  command->add_flag("--json", wanted->json, kJsonHelp);
  return std::pair(command, wanted);
}

}  // namespace

void AddCreateCommands(CLI::App& app, Action& chosen) {
  AddContainerCommand(app, chosen, Kind::Folder, "mkdir", "folder");
  const auto [command, albums] = AddContainerCommand(app, chosen, Kind::Album, "mkalbum", "album");
  command->add_option("--folder", albums->folder,
                      "Id or name of the folder to create them in. Without it: at the top, or in "
                      "the folder that NAME names, as in Folder/Album");
}

}  // namespace kelo::host
