// mkdir, mkalbum.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <map>
#include <memory>

#include "Arguments.h"
#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

constexpr const char* kJsonHelp = "Give the results as JSON, one object a line";

struct NewContainers {
  std::uint32_t kind = 0;
  std::vector<std::string> names;
  std::string folder;  // as a person names it; empty: the top
  bool force = false;
  bool json = false;
};

// Tells what became of each of the new folders or albums.
class ContainerReport {
 public:
  ContainerReport(Output& out, std::uint32_t kind, const std::string& parent)
      : out_(out), kind_(kind), parent_(parent) {}

  void Made(const std::string& name, std::string_view id) {
    out_.Result(fmt::format("{}  {}", Shown(id), Shown(name)), Object(name, id));
  }

  void NotMade(const std::string& name, std::string_view id, std::uint32_t code,
               const std::string& why) {
    failed_ = true;
    const std::string sentence = fmt::format("cannot create '{}': {}", Shown(name), why);
    if (!out_.IsJson()) return out_.Problem(sentence);
    Json object = Object(name, id);
    object["error"] = {{"code", code}, {"message", sentence}};
    out_.Result("", object);
  }

  bool Failed() const { return failed_; }

 private:
  Json Object(const std::string& name, std::string_view id) const {
    return {{"id", id.empty() ? Json() : Json(id)},
            {"kind", kind_ == kKELOKind_Folder ? "folder" : "album"},
            {"name", name},
            {"parentId", parent_.empty() ? Json() : Json(parent_)}};
  }

  Output& out_;
  const std::uint32_t kind_;
  const std::string parent_;
  bool failed_ = false;
};

// The names that are to be created; those that are there already are told of and left out.
std::vector<std::string> NotThereYet(Library& library, const NewContainers& wanted,
                                     const std::string& parent, ContainerReport& report) {
  if (wanted.force) return wanted.names;
  std::map<std::string, std::string> there;  // ids by name
  for (const tagKELO_ItemInfo& entry : library.List(parent, wanted.kind))
    there.emplace(Resolved(FieldText(entry.name)), FieldText(entry.itemId));
  std::vector<std::string> names;
  for (const std::string& name : wanted.names) {
    const auto [found, isNew] = there.try_emplace(name);
    if (isNew) {
      names.push_back(name);
      continue;
    }
    const std::string id = found->second;  // none: it was named twice
    report.NotMade(name, id, kKELOResult_Conflict,
                   fmt::format("it is there already{}; --force makes a second one",
                               id.empty() ? "" : ", with the id " + Shown(id)));
  }
  return names;
}

void Create(Library& library, const std::vector<std::string>& names, std::uint32_t kind,
            const std::string& parent, ContainerReport& report) {
  std::vector<tagKELO_ItemInfo> records(names.size());
  for (std::size_t at = 0; at < names.size(); ++at) {
    records[at].kind = kind;
    CopyText(records[at].name, names[at]);
  }
  const std::uint32_t result = library.AddContainers(parent, records);
  for (std::size_t at = 0; at < names.size(); ++at) {
    if (records[at].result == 0 && records[at].itemId[0] != '\0') {
      report.Made(names[at], FieldText(records[at].itemId));
    } else {
      const std::uint32_t code = records[at].result != 0 ? records[at].result : result;
      report.NotMade(names[at], {}, code, ResultText(code, kKELOCommand_AddItems));
    }
  }
  if (result == kKELOResult_Aborted) throw CommandFailure("create", result, kKELOCommand_AddItems);
}

int MakeContainers(Host& host, const NewContainers& wanted) {
  if (wanted.json) host.Out().UseJson();
  Library& library = host.Loaded();
  std::string parent;
  if (!wanted.folder.empty()) {
    const tagKELO_ItemInfo folder = FindEntry(library, wanted.folder);
    if (folder.kind != kKELOKind_Folder)
      throw Failure(fmt::format("'{}' is not a folder", Shown(wanted.folder)));
    parent = FieldText(folder.itemId);
  }
  ContainerReport report(host.Out(), wanted.kind, parent);
  const auto names = NotThereYet(library, wanted, parent, report);
  if (!names.empty()) Create(library, names, wanted.kind, parent, report);
  return report.Failed() ? 1 : 0;
}

CLI::App* AddContainerCommand(CLI::App& app, Action& chosen, const char* name, const char* noun,
                              const std::shared_ptr<NewContainers>& wanted) {
  CLI::App* command = app.add_subcommand(name, fmt::format("Create {}s", noun));
  command->add_option("NAME", wanted->names, fmt::format("Names of the {}s", noun))
      ->required()
      ->check(AtMost(255));
  command->add_flag("--force", wanted->force,
                    fmt::format("Create also a second {} of the same name", noun));
  command->add_flag("--json", wanted->json, kJsonHelp);
  command->callback([wanted, &chosen] {
    chosen = [wanted](Host& host) { return MakeContainers(host, *wanted); };
  });
  return command;
}

}  // namespace

void AddCreateCommands(CLI::App& app, Action& chosen) {
  const auto folders = std::make_shared<NewContainers>();
  folders->kind = kKELOKind_Folder;
  AddContainerCommand(app, chosen, "mkdir", "folder", folders);
  const auto albums = std::make_shared<NewContainers>();
  albums->kind = kKELOKind_Album;
  AddContainerCommand(app, chosen, "mkalbum", "album", albums)
      ->add_option("--folder", albums->folder,
                   "Id or name of the folder to create them in; without it, at the top");
}

}  // namespace kelo::host
