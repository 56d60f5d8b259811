// The texts of --help and `kelo help`, the pieces that the manual page and the completion share
// with them, and what is said about a wrong command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host/Host.h"

namespace kelo::host {

// Lays out --help for a terminal of 80 columns or more.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

// "kelo help [COMMAND]".
void AddHelpCommand(CLI::App& app, Action& chosen);

// What a wrong command line is answered with: what is wrong with it, what may have been meant, and
// where to read on.
std::string UsageMessage(const CLI::App& app, const CLI::Error& error);

std::vector<const CLI::App*> ListedCommands(const CLI::App& app);
// Null when there is none of that name.
const CLI::App* FindCommand(const CLI::App& app, const std::string& name);
std::vector<const CLI::Option*> ListedOptions(const CLI::App& app);

// "kelo put FILE ... [--album ALBUM]": required arguments bare, the others in brackets.
std::string Synopsis(const CLI::App& command);

// "FILE" of a positional argument, "ALBUM" of --album; empty for a flag.
std::string ValueName(const CLI::Option& option);
// "--album ALBUM", "-i, --items", "FILE ...".
std::string OptionLabel(const CLI::Option& option);
// What the option does, with its environment variable and default value.
std::string OptionText(const CLI::Option& option);

}  // namespace kelo::host
