// Lays out the texts of --help in columns.
#include "commandline/Help.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>

namespace kelo {
namespace {

constexpr size_t kColumns = 80;
constexpr size_t kLabelWidth = 20;
constexpr const char* kNextUsage = "\n       ";

// Words from column `indent` on; the first line continues what is there already.
std::string Wrapped(const std::string& text, size_t indent) {
  std::istringstream words(text);
  std::string out;
  size_t column = indent;
  for (std::string word; words >> word;) {
    if (column > indent && column + 1 + word.size() > kColumns) {
      out += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (column > indent) {
      out += ' ';
      ++column;
    }
    out += word;
    column += word.size();
  }
  return out + "\n";
}

std::string Row(const std::string& label, const std::string& text) {
  const size_t indent = kLabelWidth + 4;
  if (label.size() <= kLabelWidth)
    return fmt::format("  {:<{}}  {}", label, kLabelWidth, Wrapped(text, indent));
  return fmt::format("  {}\n{:{}}{}", label, "", indent, Wrapped(text, indent));
}

}  // namespace

std::vector<const CLI::App*> ListedCommands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* FindCommand(const CLI::App& app, const std::string& name) {
  for (const CLI::App* command : ListedCommands(app))
    if (command->get_name() == name) return command;
  return nullptr;
}

std::vector<const CLI::Option*> ListedOptions(const CLI::App& app) {
  std::vector<const CLI::Option*> listed;
  const auto add = [&](bool positional) {
    for (const CLI::Option* option : app.get_options()) {
      const bool wanted = option->get_positional() == positional && option != app.get_help_ptr();
      if (wanted && !option->get_group().empty()) listed.push_back(option);
    }
  };
  add(true);
  add(false);
  if (app.get_help_ptr() != nullptr) listed.push_back(app.get_help_ptr());
  return listed;
}

std::string ValueName(const CLI::Option& option) {
  if (option.get_positional()) return option.get_name(true);
  if (option.get_expected_max() == 0) return "";
  // Behind a colon are checks of the value, in no words for people.
  std::string name = option.get_type_name();
  name = name.substr(0, name.find(':'));
  // "ALBUM" for --album, unless the option says something better than "a text".
  if (name != "TEXT") return name;
  name = option.get_lnames().at(0);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return name;
}

std::string OptionLabel(const CLI::Option& option) {
  std::string label;
  if (option.get_positional()) {
    label = option.get_name(true);
  } else {
    for (const auto& name : option.get_snames()) label += "-" + name + ", ";
    label += "--" + option.get_lnames().at(0);
    if (option.get_expected_max() > 0) label += " " + ValueName(option);
  }
  return option.get_expected_max() > 1 ? label + " ..." : label;
}

std::string OptionText(const CLI::Option& option) {
  std::string text = option.get_description();
  if (!option.get_envname().empty()) text += " (environment: " + option.get_envname() + ")";
  if (!option.get_default_str().empty()) text += " (default: " + option.get_default_str() + ")";
  return text;
}

std::string FullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent == nullptr ? "" : FullName(*parent) + " ") + command.get_name();
}

std::string Synopsis(const CLI::App& command) {
  std::string line = FullName(command);
  if (!ListedCommands(command).empty()) return line + " COMMAND [ARGUMENTS]";
  for (const CLI::Option* option : ListedOptions(command)) {
    if (option == command.get_help_ptr()) continue;
    const std::string label = OptionLabel(*option);
    line += " " + (option->get_required() ? label : "[" + label + "]");
  }
  return line;
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const {
  const bool isProgram = app->get_parent() == nullptr;
  std::string help =
      "Usage: " +
      (isProgram ? fmt::format("{}", fmt::join(texts_.usages, kNextUsage)) : Synopsis(*app));
  help += "\n\n" + Wrapped(app->get_description() + ".", 0) + "\n";
  for (const CLI::Option* option : ListedOptions(*app))
    help += Row(OptionLabel(*option), OptionText(*option));
  const auto commands = ListedCommands(*app);
  if (!commands.empty()) help += "\nCommands:\n";
  for (const CLI::App* command : commands)
    help += Row(command->get_name(), command->get_description());
  for (const Section& section : isProgram ? texts_.sections : std::vector<Section>()) {
    help += "\n" + section.title + ":\n";
    for (const Term& term : section.terms) help += Row(term.name, term.about);
  }
  if (!app->get_footer().empty()) help += "\n" + Wrapped(app->get_footer(), 0);
  return help;
}

}  // namespace kelo
