// kelo: the command-line host of the photo service library.
#include <malloc.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <optional>
#include <string_view>

#include "commandline/WrongUsage.h"
#include "host/commands/Host.h"
#include "host/program/Completion.h"
#include "host/program/Help.h"
#include "host/program/Run.h"

namespace kelo::host {
namespace {

constexpr const char* kFooter =
    "Begin with 'kelo login'; 'kelo help COMMAND' tells about each command, and 'kelo demo' shows "
    "everything on a service of its own. Folders, albums and items can be named by id, by name or "
    "by path, Folder/Album/picture.jpg: 'kelo tree --items' shows them all. Only one run at a time "
    "changes an account: put, mkdir, mkalbum, caption, rate, tag, link and mail wait "
    "until the run before has ended. put --dry-run does not wait.";

void Describe(CLI::App& app, CommonOptions& options, Action& chosen) {
  DescribeProgram(app, "kelo", KeloTexts(), options);
  app.require_subcommand(0, 1);
  app.fallthrough();  // the commands inherit it: options of all may stand behind their names
  app.add_flag("--no-wait", options.noWait,
               "Fail with exit code 4 where another run changes the account, instead of waiting");
  AddCheckedOption(
      app, "--profile", options.profile, "Name of the profile whose session is used",
      [](const std::string& name) {
        return IsProfileName(name) ? "" : "a profile's name must be usable as a folder's name";
      })
      ->envname("KELO_PROFILE")
      ->type_name("NAME");
  AddSessionCommands(app, chosen);
  AddBrowseCommands(app, chosen);
  AddGetCommand(app, chosen);
  AddPutCommand(app, chosen);
  AddCheckCommand(app, chosen);
  AddCreateCommands(app, chosen);
  AddEditCommands(app, chosen);
  AddShareCommands(app, chosen);
  AddDemoCommand(app, options);
  AddHelpCommand(app, chosen);
  app.footer(kFooter);  // after the commands, which would inherit it
}

// Whether a run may take hours, and has workers.
bool IsLong(std::string_view command) {
  return command == "get" || command == "put" || command == "check";
}

// The threads that read files would each get their own memory to take from, and keep what they have
// given back: a tenth of all with 100,000 files. Linux's: mallopt.
void ShareMemory() {
#ifdef M_ARENA_MAX
  ::mallopt(M_ARENA_MAX, 2);
#endif
}

int Main(int argc, char** argv) {
  ShareMemory();
  std::signal(SIGPIPE, SIG_IGN);  // a reader that goes away is a failure of Output, not the end
  Output::HoldClosedStreams();
  Interrupt::BlockSignals();
  CLI::App app("Command-line host of the photo storage and sharing service");
  CommonOptions options;
  Action chosen;
  Describe(app, options, chosen);
  if (argc > 1 && std::string_view(argv[1]) == "__complete")
    return Complete(app, options, {argv + 2, argv + argc});
  return RunProgram(app, KeloTexts(), argc, argv, [&] {
    if (!chosen) return TellUsage(app);
    options.command = app.get_subcommands().front()->get_name();
    std::optional<Nursery> nursery;  // made before any thread
    options.persistence.isLong = IsLong(options.command);
    if (options.persistence.isLong) nursery.emplace(DoTask);
    Host host(options, nursery ? &*nursery : nullptr);
    return RunAction(app, host.Out(), host.Bare(), [&] { return chosen(host); });
  });
}

}  // namespace
}  // namespace kelo::host

int main(int argc, char** argv) {
  return kelo::host::Main(argc, argv);
}
