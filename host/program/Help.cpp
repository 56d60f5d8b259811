// Gives the texts of help and manual page that concern all commands, and runs the command help.
#include "host/program/Help.h"

#include <fmt/format.h>

#include <memory>
#include <string_view>

#include "commandline/WrongUsage.h"
#include "host/program/Completion.h"

namespace kelo::host {
namespace {

const Section kFiles{
    "Files",
    {
        {"~/.local/state/kelo/session",
         "The session that kelo login opened, with its signing secret, the service that --url "
         "named, and, after --remember, key, token and secret. It is of use on this machine only, "
         "and refused when others may read it."},
        {"~/.local/state/kelo/locks", "A lock for each account, held while a run changes it."},
        {"~/.local/state/kelo/profiles/NAME", "The same files of the profile NAME."},
        {"PREFIX/share/kelo/samples", "The pictures of kelo demo."},
    }};

const Section kVariables{
    "Environment",
    {
        {"KELO_URL, KELO_KEY, KELO_TOKEN, KELO_SECRET",
         "Used by kelo login where no option is given."},
        {"KELO_PROFILE", "The profile, where --profile names none."},
        {"KELO_TRACE",
         "A file that gets a line for each request to the service, what came of it, and where its "
         "time went; - is standard error. The lines hold no secret. libtVQAccess2(3) has the "
         "fields."},
        {"KELO_URLS_FILE", "A file with the server's address, instead of the remembered one."},
        {"XDG_STATE_HOME", "Where the folder kelo lies, instead of ~/.local/state."},
        {"http_proxy, https_proxy, all_proxy, no_proxy",
         "Proxies, and the hosts that need none, as in other programs."},
    }};

const Section kExitCodes{
    "Exit status",
    {
        {"0", "Success."},
        {"1",
         "Everything failed, or a single file or item did; it may work the next time. Where the "
         "library failed, the message ends with its result code."},
        {"2", "Wrong usage."},
        {"3", "put or get has done all but what can never be sent or fetched."},
        {"4", "Another run changes the account, and --no-wait was given."},
        {"130", "Aborted by Ctrl-C. Another signal: 128 and its number."},
    }};

int Help(Host& host, const CLI::App& app, const std::string& wanted) {
  const CLI::App* command = wanted.empty() ? &app : FindCommand(app, wanted);
  if (command == nullptr) throw CLI::ValidationError(NoCommand(app, wanted));
  // command->help() would tell about "help", the command that the line named.
  std::string text = app.get_formatter()->make_help(command, "", CLI::AppFormatMode::Normal);
  text.pop_back();  // the line's end
  host.Out().KeepResults();
  host.Out().Line(text);
  return 0;
}

}  // namespace

ProgramTexts KeloTexts() {
  return {{"kelo COMMAND [ARGUMENTS]"},
          {kExitCodes},
          {kFiles, kVariables},
          {"kelo-demo (1)", "kelo-devservice (1)", "libtVQAccess2 (3)"}};
}

void AddHelpCommand(CLI::App& app, Action& chosen) {
  CLI::App* completion =
      app.add_subcommand("completion", "Print the script for a shell's completion");
  const auto shell = std::make_shared<std::string>();
  completion->add_option("SHELL", *shell, "The shell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""))
      ->type_name("bash|zsh|fish");
  completion->footer(
      "In bash: source <(kelo completion bash). An installed kelo needs none of this.");
  completion->callback([&chosen, shell] {
    chosen = [shell](Host& host) {
      std::string_view script = CompletionScript(*shell);
      script.remove_suffix(1);  // the line's end
      host.Out().KeepResults();
      host.Out().Line(script);
      return 0;
    };
  });
  CLI::App* help = app.add_subcommand("help", "Tell how a command is used");
  const auto wanted = std::make_shared<std::string>();
  help->add_option("COMMAND", *wanted, "The command; without it, all commands are listed");
  help->callback([&app, &chosen, wanted] {
    chosen = [&app, wanted](Host& host) { return Help(host, app, *wanted); };
  });
}

}  // namespace kelo::host
