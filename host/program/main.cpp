// kelo: the command-line host of the photo service library.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string_view>

#include "commandline/Manual.h"
#include "commandline/WrongUsage.h"
#include "host/commands/Host.h"
#include "host/names/ResultText.h"
#include "host/program/Completion.h"
#include "host/program/Help.h"

namespace kelo::host {
namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kBusy = 3;

constexpr const char* kFooter =
    "Begin with 'kelo login'; 'kelo help COMMAND' tells about each command, and 'kelo demo' shows "
    "everything on a service of its own. Folders, albums and items can be named by id, by name or "
    "by "
    "path, Folder/Album/picture.jpg: 'kelo tree --items' shows them all. Exit codes: 0 success, 1 "
    "failure (the "
    "message ends with the library's result code), 2 wrong usage, 3 another run changes the "
    "account "
    "and --no-wait was given, 130 aborted by Ctrl-C. One run at a time changes an account: put, "
    "mkdir, mkalbum, caption, rate, tag, link and mail wait for the one before, but not with "
    "--dry-run.";

void Describe(CLI::App& app, CommonOptions& options, Action& chosen) {
  app.name("kelo");
  app.set_version_flag("--version", "kelo " KELO_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this help");
  app.formatter(std::make_shared<HelpFormatter>(KeloTexts()));
  app.failure_message([](const CLI::App* all, const CLI::Error& error) {
    return fmt::format("kelo: {}\n", UsageMessage(*all, error));
  });
  app.require_subcommand(0, 1);
  app.fallthrough();  // the commands inherit it: options of all may stand behind their names
  app.add_flag("-q,--quiet", options.quiet, "Tell only what fails");
  app.add_flag("-v,--verbose", options.persistence.verbose, "Show each request to the service");
  app.add_option("--retries", options.persistence.retries,
                 "How often to try again what fails by a lost or refused connection or a time-out")
      ->check(NumberBetween(0, 1000))
      ->type_name("N")
      ->capture_default_str();
  app.add_flag("--no-wait", options.noWait,
               "Fail with exit code 3 where another run changes the account, instead of waiting");
  AddCheckedOption(app, "--profile", options.profile, "Whose session: each profile has its own",
                   [](const std::string& name) {
                     return IsProfileName(name) ? "" : "a profile's name must be fit for a folder";
                   })
      ->envname("KELO_PROFILE")
      ->type_name("NAME");
  AddSessionCommands(app, chosen);
  AddBrowseCommands(app, chosen);
  AddGetCommand(app, chosen);
  AddPutCommand(app, chosen);
  AddCreateCommands(app, chosen);
  AddEditCommands(app, chosen);
  AddShareCommands(app, chosen);
  AddDemoCommand(app, chosen);
  AddHelpCommand(app, chosen);
  app.footer(kFooter);  // after the commands, which would inherit it
}

// What the command did, as an exit code; a failure is told.
int Run(const CLI::App& app, const Action& action, Host& host) {
  int status = kFailed;
  try {
    status = action(host);
    host.Out().Finish();
  } catch (const CLI::ParseError& error) {
    host.Out().Problem(UsageMessage(app, error));
    return kUsage;
  } catch (const Busy& busy) {
    host.Out().Problem(busy.what());
    return kBusy;
  } catch (const std::exception& failure) {
    status = kFailed;
    if (Interrupt::Signal() == 0) host.Out().Problem(Sentence(failure));
  }
  if (status != 0 && Interrupt::Signal() != 0) {
    host.Out().SayAborted();
    return Interrupt::ExitCode();
  }
  if (status != 0 && host.Bare().WantsTrace())
    host.Out().Note("'kelo -v' shows the requests, and what came of each");
  return status;
}

int Run(const CLI::App& app, const Action& action, const CommonOptions& options) {
  try {
    Host host(options);
    return Run(app, action, host);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "kelo: {}\n", failure.what());
    return kFailed;
  }
}

// The status, unless standard output did not take everything.
int Written(int status) {
  try {
    std::cout.flush();
    Output().Finish();
    return status;
  } catch (const Failure& failure) {
    fmt::print(stderr, "kelo: {}\n", failure.what());
    return kFailed;
  }
}

int Main(int argc, char** argv) {
  Output::HoldClosedStreams();
  Interrupt::BlockSignals();
  CLI::App app("Command-line host of the photo storage and sharing service");
  CommonOptions options;
  Action chosen;
  Describe(app, options, chosen);
  bool manual = false;
  app.add_flag("--man", manual)->group("");
  if (argc > 1 && std::string_view(argv[1]) == "__complete")
    return Complete(app, options, {argv + 2, argv + argc});
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return Written(app.exit(error) == 0 ? 0 : kUsage);
  }
  if (manual) {
    std::cout << ManualPage(app, KeloTexts());
    return Written(0);
  }
  if (chosen) {
    options.command = app.get_subcommands().front()->get_name();
    return Run(app, chosen, options);
  }
  fmt::print(stderr, "{}", app.help());
  return kUsage;
}

}  // namespace
}  // namespace kelo::host

int main(int argc, char** argv) {
  return kelo::host::Main(argc, argv);
}
