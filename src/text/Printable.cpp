// Replaces the characters of a text that a reader would not see, or that would mislead him.
#include "text/Printable.h"

#include <unicode/uchar.h>

#include "text/Unicode.h"

namespace kelo {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;  // stands for a malformed character

bool IsVisible(UChar32 c) {
  constexpr uint32_t kUnseen =
      U_GC_CC_MASK | U_GC_CF_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK | U_GC_CS_MASK;
  return c >= 0 && c != kReplacement && (U_GET_GC_MASK(c) & kUnseen) == 0;
}

bool IsJoiner(UChar32 c) {
  return c == 0x200C || c == 0x200D;
}

// Beyond ASCII there may be shapes to decide.
bool MayJoin(UChar32 c) {
  return c >= 0x80 && IsVisible(c);
}

}  // namespace

std::string Printable(std::string_view text) {
  return Printable(
      text, "", [](std::string_view) { return "?"; });
}

std::string Printable(std::string_view text, std::string_view also,
                      const std::function<std::string(std::string_view)>& instead) {
  std::string clean;
  UChar32 before = 0;
  for (size_t i = 0; i < text.size();) {
    const size_t start = i;
    const UChar32 c = NextCharacter(text, i);
    size_t behind = i;
    const bool joins = IsJoiner(c) && MayJoin(before) && behind < text.size() &&
                       MayJoin(NextCharacter(text, behind));
    const bool keep = (IsVisible(c) || joins) && also.find(text[start]) == std::string_view::npos;
    const std::string_view character = text.substr(start, i - start);
    clean += keep ? std::string(character) : instead(character);
    before = c;
  }
  return clean;
}

}  // namespace kelo
