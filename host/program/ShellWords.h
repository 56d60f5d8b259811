// Words of a command line as bash hands them to a completion function: as they were typed, with
// quotes that may still be open, and cut in pieces around characters such as ":" and "=".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelo::host {

struct ShellWords {
  std::vector<std::string> words;  // put together again, quotes removed; the last is being typed
  // The part of the last word, quotes removed, in front of what bash is going to replace.
  std::string kept;
  char quote = '\0';  // open where the user types: ' or "
};

ShellWords FromBash(const std::vector<std::string>& typed);

// What bash is to put in for a candidate for the last word, which must begin with `kept`.
std::string ForBash(std::string_view candidate, const ShellWords& typed);

}  // namespace kelo::host
