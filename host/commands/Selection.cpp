// Reads globs, dates, sizes and lists as the command line gives them.
#include "host/commands/Selection.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <utility>

#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

void AddGlobs(CLI::App& command, const std::string& name, std::vector<std::string>& globs,
              const std::string& about) {
  const auto take = [name, &globs](const std::vector<std::string>& given) {
    for (const std::string& glob : given) {
      const std::vector<std::string> all = WithoutBraces(glob);
      if (all.empty()) throw CLI::ValidationError(name, "the braces stand for too many globs");
      globs.insert(globs.end(), all.begin(), all.end());
    }
  };
  command.add_option_function<std::vector<std::string>>(name, take, about)
      ->type_name("GLOB")
      ->allow_extra_args(false);
}

// The option's value is read once, by `read`; what that cannot read is none, as `wrong` says.
template <typename Read, typename Bound>
void AddBound(CLI::App& command, const std::string& name, std::optional<Bound>& bound, Read read,
              const char* wrong, const char* label, const std::string& about) {
  const auto take = [name, &bound, read, wrong](const std::string& text) {
    bound = read(text);
    if (!bound) throw CLI::ValidationError(name, fmt::format("'{}' is {}", Shown(text), wrong));
  };
  command.add_option_function<std::string>(name, take, about)->type_name(label);
}

}  // namespace

void AddFilterOptions(CLI::App& command, Filter& filter, const std::string& verb) {
  AddGlobs(command, "--include", filter.include, verb + " only what matches; may be repeated");
  AddGlobs(command, "--exclude", filter.exclude, "Leave out what matches; may be repeated");
  const auto read = [](const std::string& text) { return MomentMeant(text, std::time(nullptr)); };
  constexpr const char* kWrong =
      "no date such as 2024-05-17 or 2024, and no age such as 12h, 7d, 3w or 1y";
  AddBound(command, "--newer-than", filter.newerThan, read, kWrong, "DATE",
           verb +
               " only what is from this date on: 2024, 2024-05, 2024-05-17, \"2024-05-17 "
               "10:11\", or an age: 12h, 7d, 3w, 1y");
  AddBound(command, "--older-than", filter.olderThan, read, kWrong, "DATE",
           verb + " only what is from before such a date");
}

void AddSizeOptions(CLI::App& command, Filter& filter) {
  constexpr const char* kWrong = "no size such as 4096, 500k, 10M or 2G";
  AddBound(command, "--larger-than", filter.largerThan, SizeMeant, kWrong, "SIZE",
           "Send only larger files: in bytes, k, M, G or T, which are steps of 1000, as sizes are "
           "shown");
  AddBound(command, "--smaller-than", filter.smallerThan, SizeMeant, kWrong, "SIZE",
           "Send only smaller files");
}

std::string GlobHelp(const std::string& top) {
  return fmt::format(
      "A GLOB without a slash is compared with names. Any other is compared with the path below "
      "{}; one that ends in a slash means everything in such a folder. \"*.{{nef,jpg}}\" stands "
      "for "
      "both. Case does not matter. With a folder, all in it is excluded. ",
      top);
}

void AddListOption(CLI::App& command, std::string& list, const std::string& label) {
  command
      .add_option("--files-from", list,
                  fmt::format("A file with a further {} in each line; - is standard input", label))
      ->type_name("FILE");
}

std::vector<std::string> WithListed(std::vector<std::string> names, const std::string& list) {
  if (list.empty()) return names;
  std::ifstream file;
  errno = 0;
  if (list != "-") file.open(list);
  std::istream& lines = list == "-" ? std::cin : file;
  bool isFirst = true;
  for (std::string line; std::getline(lines, line);) {
    // As other systems write lists.
    if (line.ends_with('\r')) line.pop_back();
    if (std::exchange(isFirst, false) && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
    if (!line.empty()) names.push_back(line);
  }
  // At its end, a list that was read is neither bad nor closed.
  if (lines.bad() || (list != "-" && !file.is_open()))
    throw Failure(fmt::format("cannot read the list {}: {}", Shown(list), std::strerror(errno)));
  return names;
}

}  // namespace kelo::host
