// Layout of help texts, and hints.
#include "host/commandline/Help.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <sstream>

#include "host/account/Names.h"
#include "host/commandline/Suggest.h"

namespace kelo::host {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kLabelWidth = 20;

// Words from column `indent` on; the first line continues what is there already.
std::string Wrapped(const std::string& text, std::size_t indent) {
  std::istringstream words(text);
  std::string out;
  std::size_t column = indent;
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
  const std::size_t indent = kLabelWidth + 4;
  if (label.size() <= kLabelWidth)
    return fmt::format("  {:<{}}  {}", label, kLabelWidth, Wrapped(text, indent));
  return fmt::format("  {}\n{:{}}{}", label, "", indent, Wrapped(text, indent));
}

std::string Suggestion(std::string_view wanted, const std::vector<std::string>& known) {
  const auto closest = Closest(wanted, known);
  return closest ? fmt::format("; did you mean '{}'?", *closest) : "";
}

std::string NoCommand(const CLI::App& app, const std::string& name) {
  std::vector<std::string> known;
  for (const CLI::App* command : ListedCommands(app)) known.push_back(command->get_name());
  return fmt::format("there is no command '{}'{}", ShownText(name), Suggestion(name, known));
}

// The command that the line names, if it does.
const CLI::App* NamedCommand(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return named.empty() ? nullptr : named.front();
}

std::string Unexpected(const CLI::App& app, const std::string& word) {
  const CLI::App* command = NamedCommand(app);
  if (!word.starts_with('-'))
    return command == nullptr ? NoCommand(app, word)
                              : fmt::format("there is nothing to do with '{}'", ShownText(word));
  std::vector<std::string> known;
  for (const CLI::App* level : {command, &app})
    for (const CLI::Option* option :
         level == nullptr ? std::vector<const CLI::Option*>() : ListedOptions(*level))
      for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
  const std::string name = word.substr(0, word.find('='));
  return fmt::format("there is no option '{}'{}", ShownText(name), Suggestion(name, known));
}

int Help(Host& host, const CLI::App& app, const std::string& wanted) {
  const CLI::App* command = wanted.empty() ? &app : FindCommand(app, wanted);
  if (command == nullptr) throw CLI::ValidationError(NoCommand(app, wanted));
  // Not by command->help(): that tells about the command which the line named, this one.
  std::string text = app.get_formatter()->make_help(command, "", CLI::AppFormatMode::Normal);
  text.pop_back();  // the line's end
  host.Out().Line(text);
  return 0;
}

}  // namespace

void AddHelpCommand(CLI::App& app, Action& chosen) {
  CLI::App* help = app.add_subcommand("help", "Tell how a command is used");
  const auto wanted = std::make_shared<std::string>();
  help->add_option("COMMAND", *wanted, "The command; without it, all commands are listed");
  help->callback([&app, &chosen, wanted] {
    chosen = [&app, wanted](Host& host) { return Help(host, app, *wanted); };
  });
}

std::string UsageMessage(const CLI::App& app, const CLI::Error& error) {
  const auto extras = app.remaining(true);
  const bool unexpected =
      error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) && !extras.empty();
  const CLI::App* command = NamedCommand(app);
  const bool named = command != nullptr && command->get_name() != "help";
  return fmt::format("{}\nsee 'kelo help{}'",
                     unexpected ? Unexpected(app, extras.front()) : error.what(),
                     named ? " " + command->get_name() : "");
}

std::vector<const CLI::App*> ListedCommands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* FindCommand(const CLI::App& app, const std::string& name) {
  for (const CLI::App* command : ListedCommands(app))
    if (command->get_name() == name) return command;
  return nullptr;
}

// Arguments first, then options, --help last.
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
  // "ALBUM" for --album, unless the option says something better than "a text".
  std::string name = option.get_type_name();
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

std::string Synopsis(const CLI::App& command) {
  std::string line = "kelo " + command.get_name();
  for (const CLI::Option* option : ListedOptions(command)) {
    if (option == command.get_help_ptr()) continue;
    const std::string label = OptionLabel(*option);
    line += " " + (option->get_required() ? label : "[" + label + "]");
  }
  return line;
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const {
  const auto commands = ListedCommands(*app);
  std::string help = "Usage: " + (commands.empty() ? Synopsis(*app) : "kelo COMMAND [ARGUMENTS]");
  help += "\n\n" + Wrapped(app->get_description() + ".", 0) + "\n";
  for (const CLI::Option* option : ListedOptions(*app))
    help += Row(OptionLabel(*option), OptionText(*option));
  if (!commands.empty()) help += "\nCommands:\n";
  for (const CLI::App* command : commands)
    help += Row(command->get_name(), command->get_description());
  if (!app->get_footer().empty()) help += "\n" + Wrapped(app->get_footer(), 0);
  return help;
}

}  // namespace kelo::host
