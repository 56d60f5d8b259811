// The texts of --help, and the pieces that the manual page shares with them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kelo::host {

// Lays out --help for a terminal of 80 columns or more.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

std::vector<const CLI::App*> ListedCommands(const CLI::App& app);
std::vector<const CLI::Option*> ListedOptions(const CLI::App& app);

// "kelo put FILE ... [--album ALBUM]": required arguments bare, the others in brackets.
std::string Synopsis(const CLI::App& command);

// "--album ALBUM", "-i, --items", "FILE ...".
std::string OptionLabel(const CLI::Option& option);
// What the option does, with its environment variable and default value.
std::string OptionText(const CLI::Option& option);

}  // namespace kelo::host
