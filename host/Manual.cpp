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

// Options of a command as completion words.
std::string OptionWords(const CLI::App& app) {
  std::string words;
  for (const CLI::Option* option : ListedOptions(app))
    for (const auto& name : option->get_lnames()) words += (words.empty() ? "--" : " --") + name;
  return words;
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

std::string BashCompletion(const CLI::App& app) {
  std::string names;
  std::string cases;
  for (const CLI::App* command : ListedCommands(app)) {
    names += (names.empty() ? "" : " ") + command->get_name();
    cases += fmt::format("    {}) words='{}' ;;\n", command->get_name(), OptionWords(*command));
  }
  return fmt::format(
      "# bash completion for kelo\n"
      "_kelo() {{\n"
      "  local current=${{COMP_WORDS[COMP_CWORD]}} words=''\n"
      "  COMPREPLY=()\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    mapfile -t COMPREPLY < <(compgen -W '{} {}' -- \"$current\")\n"
      "    return\n"
      "  fi\n"
      "  case ${{COMP_WORDS[1]}} in\n"
      "{}"
      "  esac\n"
      "  # Anything that is no option of the command is completed as a file name, by the -o "
      "default below.\n"
      "  [[ $current == -* ]] && mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
      "}}\n"
      "complete -o default -F _kelo kelo\n",
      names, OptionWords(app), cases);
}

}  // namespace kelo::host
