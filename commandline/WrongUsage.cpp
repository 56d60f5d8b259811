// Finds what a wrong command line may have meant, and says it.
#include "commandline/WrongUsage.h"

#include <fmt/format.h>

#include <charconv>
#include <utility>
#include <vector>

#include "commandline/Help.h"
#include "commandline/Suggest.h"
#include "text/Printable.h"

namespace kelo {
namespace {

std::string Suggestion(std::string_view wanted, const std::vector<std::string>& known) {
  const auto closest = Closest(wanted, known);
  return closest ? fmt::format("; did you mean '{}'?", *closest) : "";
}

// That the command takes, those of the commands it belongs to included.
std::vector<std::string> OptionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* level = &command; level != nullptr;
       level = level->get_fallthrough() ? level->get_parent() : nullptr)
    for (const CLI::Option* option : ListedOptions(*level))
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

std::string Unexpected(const CLI::App& command, const std::string& word) {
  if (word.starts_with('-')) {
    const std::string name = word.substr(0, word.find('='));
    return fmt::format("there is no option '{}'{}", Printable(name),
                       Suggestion(name, OptionNames(command)));
  }
  if (!ListedCommands(command).empty()) return NoCommand(command, word);
  return fmt::format("unexpected argument '{}'", Printable(word));
}

// The innermost command that the line names; null where it names none.
const CLI::App* NamedCommand(const CLI::App& app) {
  const auto named = app.get_subcommands();
  if (named.empty()) return nullptr;
  const CLI::App* inner = NamedCommand(*named.front());
  return inner == nullptr ? named.front() : inner;
}

// What is wrong with the line, and what may have been meant.
std::string WhatIsWrong(const CLI::App& app, const CLI::App& command, const CLI::Error& error) {
  const auto extras = app.remaining(true);
  const bool unexpected =
      error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) && !extras.empty();
  if (unexpected) return Unexpected(command, extras.front());
  // A word that is none of the commands, or an option that is none, is left over, too.
  const bool incomplete = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
  if (incomplete && !extras.empty() &&
      (!ListedCommands(command).empty() || extras.front().starts_with('-')))
    return Unexpected(command, extras.front());
  if (incomplete && !ListedCommands(command).empty())
    return fmt::format("'{}' needs a command", FullName(command));
  return error.what();
}

}  // namespace

CLI::Validator NumberBetween(std::int64_t least, std::int64_t most) {
  return {[=](const std::string& text) -> std::string {
            std::int64_t number = 0;
            const char* const end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, number);
            if (stop == end && error == std::errc() && number >= least && number <= most) return {};
            return fmt::format("'{}' is no number between {} and {}", Printable(text), least, most);
          },
          ""};
}

CLI::Option* AddCheckedOption(CLI::App& app, const std::string& name, std::string& target,
                              const std::string& about,
                              std::function<std::string(const std::string&)> fault) {
  const auto take = [name, &target, fault = std::move(fault)](const std::string& value) {
    if (const std::string wrong = fault(value); !wrong.empty())
      throw CLI::ValidationError(name, wrong);
    target = value;
  };
  return app.add_option_function<std::string>(name, take, about);
}

std::string NoCommand(const CLI::App& app, const std::string& name) {
  std::vector<std::string> known;
  for (const CLI::App* command : ListedCommands(app)) known.push_back(command->get_name());
  return fmt::format("there is no command '{}'{}", Printable(name), Suggestion(name, known));
}

std::string UsageMessage(const CLI::App& app, const CLI::Error& error) {
  const CLI::App* named = NamedCommand(app);
  const CLI::App& command = named == nullptr ? app : *named;
  std::string place = FullName(command) + " --help";
  if (const CLI::App* help = FindCommand(app, "help")) {
    place = FullName(*help);
    if (named != nullptr && named != help) place += " " + named->get_name();
  }
  return fmt::format("{}\nsee '{}'", WhatIsWrong(app, command, error), place);
}

}  // namespace kelo
