// Counts the columns that characters take, by the Unicode library.
#include "host/terminal/Columns.h"

#include <unicode/uchar.h>

#include "text/Unicode.h"

namespace kelo::host {
namespace {

// Makes an emoji of the character before it, and so maybe a wide one.
constexpr UChar32 kEmojiSelector = 0xFE0F;

size_t Width(UChar32 character) {
  if (character < 0 || character == kEmojiSelector) return 1;
  const auto category = U_GET_GC_MASK(character);
  if ((category & (U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK)) != 0) return 0;
  const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

// The longest beginning of at most so many columns.
std::string_view Beginning(std::string_view text, size_t columns) {
  size_t end = 0;
  for (size_t at = 0, used = 0; at < text.size(); end = at) {
    used += Width(NextCharacter(text, at));
    if (used > columns) break;
  }
  return text.substr(0, end);
}

// The text behind its first so many columns.
std::string_view Behind(std::string_view text, size_t columns) {
  size_t at = 0;
  for (size_t used = 0; used < columns && at < text.size();) used += Width(NextCharacter(text, at));
  // What combines with a character that has gone goes too.
  for (size_t next = at; at < text.size(); at = next)
    if (Width(NextCharacter(text, next)) > 0) break;
  return text.substr(at);
}

}  // namespace

size_t Columns(std::string_view text) {
  size_t columns = 0;
  for (size_t at = 0; at < text.size();) {
    const bool isPlain = text[at] >= ' ' && text[at] <= '~';
    columns += isPlain ? 1 : Width(NextCharacter(text, at));
    if (isPlain) ++at;
  }
  return columns;
}

std::string FitColumns(const std::string& text, size_t columns) {
  constexpr std::string_view kGap = "...";
  const size_t whole = Columns(text);
  if (whole <= columns) return text;
  if (columns < 2 * kGap.size()) return std::string(Beginning(text, columns));
  const size_t kept = columns - kGap.size();
  std::string fit(Beginning(text, kept / 2));
  fit.append(kGap).append(Behind(text, whole - (kept - kept / 2)));
  return fit;
}

}  // namespace kelo::host
