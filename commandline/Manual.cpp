// Writes the manual page from the description of the command line.
#include "commandline/Manual.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace kelo {
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

std::string UpperCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// The program's name bold, and what stands for something else in italics, as its capitals tell.
std::string UsageLine(const std::string& usage) {
  const auto isCapital = [](char c) { return c >= 'A' && c <= 'Z'; };
  const size_t blank = std::min(usage.find(' '), usage.size());
  std::string line = ".B " + Roff(usage.substr(0, blank)) + "\n";
  bool italic = false;
  for (const char c : usage.substr(std::min(blank + 1, usage.size()))) {
    if (isCapital(c) != italic) line += italic ? "\\fR" : "\\fI";
    italic = isCapital(c);
    line += Roff(std::string(1, c));
  }
  return line + (italic ? "\\fR\n" : "\n");
}

std::string Entry(const std::string& name, const std::string& about) {
  return fmt::format(".TP\n.B {}\n{}\n", Roff(name), Roff(about));
}

std::string SectionText(const Section& section) {
  std::string text = fmt::format(".SH {}\n", UpperCase(section.title));
  for (const Term& term : section.terms) text += Entry(term.name, term.about);
  return text;
}

std::string OptionEntry(const CLI::Option& option) {
  return Entry(OptionLabel(option), OptionText(option));
}

// The commands of a program or of a command, and theirs.
std::string CommandTexts(const CLI::App& app) {
  std::string text;
  for (const CLI::App* command : ListedCommands(app)) {
    text +=
        fmt::format(".SS {}\n{}.\n", Roff(Synopsis(*command)), Roff(command->get_description()));
    for (const CLI::Option* option : ListedOptions(*command))
      if (option != command->get_help_ptr()) text += OptionEntry(*option);
    if (!command->get_footer().empty()) text += ".PP\n" + Roff(command->get_footer()) + "\n";
    text += CommandTexts(*command);
  }
  return text;
}

}  // namespace

std::string ManualPage(const CLI::App& app, const ProgramTexts& texts) {
  std::string page = fmt::format(
      ".TH {} 1 \"\" \"{}\" \"User Commands\"\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n",
      UpperCase(app.get_name()), app.version(), Roff(app.get_name()), Roff(app.get_description()));
  for (const std::string& usage : texts.usages)
    page += (&usage == &texts.usages.front() ? "" : ".br\n") + UsageLine(usage);
  page += fmt::format(".SH DESCRIPTION\n{}\n.SH OPTIONS\n", Roff(app.get_footer()));
  for (const CLI::Option* option : ListedOptions(app)) page += OptionEntry(*option);
  if (!ListedCommands(app).empty()) page += ".SH COMMANDS\n" + CommandTexts(app);
  for (const Section& section : texts.sections) page += SectionText(section);
  for (const Section& section : texts.manualSections) page += SectionText(section);
  return page + fmt::format(".SH SEE ALSO\n.BR {}\n", fmt::join(texts.seeAlso, ",\n.BR "));
}

}  // namespace kelo
