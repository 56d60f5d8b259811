// The texts of --help, and the pieces that manual pages and completion share with them: all are
// made from the description of a command line, so that none can say something else.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kelo {

// A word and what it means.
struct Term {
  std::string name;
  std::string about;
};

struct Section {
  std::string title;  // "Exit status"
  std::vector<Term> terms;
};

// What a program says about itself besides the description of its command line.
struct ProgramTexts {
  std::vector<std::string> usages;      // "kelo COMMAND [ARGUMENTS]"
  std::vector<Section> sections;        // at the end of its help and in its manual page ...
  std::vector<Section> manualSections;  // ... and in the page alone
  std::vector<std::string> seeAlso;     // other pages: "libtVQAccess2 (3)"
};

// Lays out --help for a terminal of 80 columns or more. The program's name is that of the outermost
// CLI::App.
class HelpFormatter : public CLI::Formatter {
 public:
  explicit HelpFormatter(ProgramTexts texts) : texts_(std::move(texts)) {}
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;

 private:
  const ProgramTexts texts_;
};

std::vector<const CLI::App*> ListedCommands(const CLI::App& app);
// Null when there is none of that name.
const CLI::App* FindCommand(const CLI::App& app, const std::string& name);
// Arguments first, then options, --help last.
std::vector<const CLI::Option*> ListedOptions(const CLI::App& app);

// "kelo put": the command's name behind those of the commands it belongs to.
std::string FullName(const CLI::App& command);
// "kelo put FILE ... [--album ALBUM]": required arguments bare, the others in brackets; for a
// command with commands of its own "kelo COMMAND [ARGUMENTS]".
std::string Synopsis(const CLI::App& command);

// "FILE" of a positional argument, "ALBUM" of --album; empty for a flag.
std::string ValueName(const CLI::Option& option);
// "--album ALBUM", "-i, --items", "FILE ...".
std::string OptionLabel(const CLI::Option& option);
// What the option does, with its environment variable and default value.
std::string OptionText(const CLI::Option& option);

}  // namespace kelo
