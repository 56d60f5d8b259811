// Walks the command line's description.
#include "host/commandline/Manual.h"

#include <fmt/format.h>

#include "host/commandline/Help.h"

namespace kelo::host {
namespace {

// Text that roff does not take for requests or escapes.
std::string Roff(const std::string& text) {
  std::string out;
  for (const char c : text)
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else if (c == '\'')
      out += "\\(aq";
    else if (c == '~')
      out += "\\(ti";
    else if (c == '.' && (out.empty() || out.back() == '\n'))
      out += "\\&.";
    else
      out += c;
  return out;
}

struct Term {
  const char* name;
  const char* about;
};

constexpr Term kFiles[] = {
    {"~/.local/state/kelo/session",
     "The session that kelo login opened, with its signing secret. It is of use on this machine "
     "only, and refused when others may read it."},
    {"~/.local/state/kelo/credentials", "Key, token and secret, after kelo login --remember."},
    {"~/.local/state/kelo/server-urls", "The service that kelo login --url named."},
    {"~/.local/state/kelo/profiles/NAME", "The same files of the profile NAME."},
    {"PREFIX/share/kelo/samples", "The pictures of kelo demo."},
};

constexpr Term kVariables[] = {
    {"KELO_URL, KELO_KEY, KELO_TOKEN, KELO_SECRET", "What kelo login is not told by options."},
    {"KELO_PROFILE", "The profile, where --profile names none."},
    {"KELO_TRACE",
     "A file that gets a line for each request to the service, and what came of it; - is standard "
     "error. The lines hold no secret."},
    {"KELO_URLS_FILE", "A file with the server's address, instead of the remembered one."},
    {"XDG_STATE_HOME", "Where the folder kelo lies, instead of ~/.local/state."},
    {"http_proxy, https_proxy, all_proxy, no_proxy",
     "Proxies, and the hosts that need none, as in other programs."},
};

constexpr Term kExitCodes[] = {
    {"0", "Success."},
    {"1", "Failure, of one file or item or of all. Messages end with the library's result code."},
    {"2", "Wrong usage."},
    {"130", "Aborted by Ctrl-C; 128 and the number of another signal that ended it."},
};

template <std::size_t Count>
std::string Section(const char* title, const Term (&terms)[Count]) {
  std::string section = fmt::format(".SH {}\n", title);
  for (const Term& term : terms)
    section += fmt::format(".TP\n.B {}\n{}\n", Roff(term.name), Roff(term.about));
  return section;
}

std::string OptionEntry(const CLI::Option& option) {
  return fmt::format(".TP\n.B {}\n{}\n", Roff(OptionLabel(option)), Roff(OptionText(option)));
}

}  // namespace

std::string ManualPage(const CLI::App& app) {
  std::string page = fmt::format(
      ".TH KELO 1 \"\" \"{}\" \"User Commands\"\n.SH NAME\nkelo \\- {}\n.SH SYNOPSIS\n.B "
      "kelo\n"
      ".I COMMAND\n[\\fIARGUMENTS\\fR]\n.SH DESCRIPTION\n{}\n.SH OPTIONS\n",
      app.version(), Roff(app.get_description()), Roff(app.get_footer()));
  for (const CLI::Option* option : ListedOptions(app)) page += OptionEntry(*option);
  page += ".SH COMMANDS\n";
  for (const CLI::App* command : ListedCommands(app)) {
    page +=
        fmt::format(".SS {}\n{}.\n", Roff(Synopsis(*command)), Roff(command->get_description()));
    for (const CLI::Option* option : ListedOptions(*command))
      if (option != command->get_help_ptr()) page += OptionEntry(*option);
    if (!command->get_footer().empty()) page += ".PP\n" + Roff(command->get_footer()) + "\n";
  }
  page += Section("FILES", kFiles) + Section("ENVIRONMENT", kVariables) +
          Section("EXIT STATUS", kExitCodes);
  return page + ".SH SEE ALSO\n.BR libtVQAccess2 (3)\n";
}

}  // namespace kelo::host
