// Texts made fit for a terminal or a file system: nothing in them that a terminal obeys or a path
// follows.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelo::host {

// The text composed (NFC), as a person types it; as it stands where that is not possible.
std::string Composed(std::string_view text);

// For a terminal: composed, and every control, direction mark and malformed byte shown as "?".
std::string Shown(std::string_view text);

// One harmless path component made from a name of the service, at most 255 bytes, composed (NFC);
// `fallback` (made harmless too) where nothing is left. Never ".", "..", hidden, or with a
// separator: such characters, and what no terminal should get, are written as in URLs, "AC%2FDC".
std::string FileName(std::string_view name, std::string_view fallback);

// The n-th of several entries that would have one name: "a.jpg", then "a (2).jpg". A folder's name
// has no extension.
enum class Named { kFile, kFolder };
std::string NumberedName(const std::string& name, int number, Named named = Named::kFile);
// The name of a file without such a number, "a.jpg"; as it is where it has none.
std::string WithoutNumber(const std::string& name);
// Names that an entry may have in the account if a file here has this one: without its number, and
// with the characters that FileName has replaced.
std::vector<std::string> NamesBehind(const std::string& name);

// "12 bytes", "34.5 kB", "1.2 GB".
std::string ByteText(std::uint64_t bytes);

// "0:40", "12:05", "1:00:00".
std::string DurationText(std::chrono::seconds duration);

// "1 file", "2 files".
std::string CountText(std::uint64_t count, std::string_view noun);

// ", 2 failed", to follow another count; empty for none.
std::string AlsoText(std::uint64_t count, std::string_view words);

}  // namespace kelo::host
