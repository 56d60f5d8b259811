// Which characters no terminal should get.
#include "commandline/Printable.h"

#include <algorithm>
#include <iterator>

#include "text/Unicode.h"

namespace kelo {
namespace {

struct Range {
  UChar32 first, last;
};

// Controls, line and paragraph separators, direction marks and overrides, the byte order mark, and
// what stands for a malformed character.
constexpr Range kUnshowable[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x200E, 0x200F},
                                 {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF},
                                 {0xFFFD, 0xFFFD}};

bool Showable(UChar32 character) {
  return character >= 0 && std::none_of(
                               std::begin(kUnshowable), std::end(kUnshowable),
                               [&](const Range& range) {
                                 return character >= range.first && character <= range.last;
                               });
}

}  // namespace

std::string Printable(std::string_view text) {
  return Printable(
      text, "", [](std::string_view) { return "?"; });
}

std::string Printable(std::string_view text, std::string_view also,
                      const std::function<std::string(std::string_view)>& instead) {
  std::string clean;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    const bool keep =
        Showable(NextCharacter(text, i)) && also.find(text[start]) == std::string_view::npos;
    const std::string_view character = text.substr(start, i - start);
    clean += keep ? std::string(character) : instead(character);
  }
  return clean;
}

}  // namespace kelo
