// Texts that come from the service, made fit for a terminal or a file system: references resolved,
// nothing in them that a terminal obeys or a path follows.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace kelo::host {

// The text with character and entity references resolved; as it stands where that is not possible.
std::string Resolved(std::string_view raw);

// For a terminal: resolved, and every control, direction mark and malformed byte shown as "?".
std::string Shown(std::string_view raw);

// One harmless path component made from a name of the service, at most 240 bytes; `fallback` (made
// harmless too) where nothing is left. Never ".", "..", hidden, or with a separator.
std::string FileName(std::string_view raw, std::string_view fallback);

// Gives each name once: the second "a.jpg" becomes "a (2).jpg". Case is not counted as a
// difference, since not every file system counts it.
class UniqueNames {
 public:
  std::string Take(const std::string& name);

 private:
  std::set<std::string> taken_;
  std::map<std::string, int> lastNumber_;  // by folded name, so that many equal names stay cheap
};

// "12 bytes", "34.5 kB", "1.2 GB".
std::string ByteText(std::uint64_t bytes);

// "1 file", "2 files".
std::string CountText(std::uint64_t count, std::string_view noun);

}  // namespace kelo::host
