// Walks the command line's description.
#include "Manual.h"

#include <fmt/format.h>

#include "Help.h"

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
    else if (c == '.' && (out.empty() || out.back() == '\n'))
      out += "\\&.";
    else
      out += c;
  return out;
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
  return page + ".SH SEE ALSO\n.BR libtVQAccess2 (3)\n";
}

}  // namespace kelo::host
