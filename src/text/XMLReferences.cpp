// XMLUtility: texts across the XML boundary. The two composite conversions are defined as several
// conversions one after the other; the ones here give the same bytes with one pass out and two
// back.
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>
#include <utility>

#include "text/Unicode.h"
#include "text/XMLUtility.h"

namespace kelo {
namespace {

// What an encoder does not copy as it stands.
constexpr unsigned char kPlain = 0;
constexpr unsigned char kMarkup = 1;
constexpr unsigned char kNonAscii = 2;

constexpr std::string_view EntityOf(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '"':
      return "&quot;";
    case '\'':
      return "&apos;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    case '\n':
      return "&#10;";
    default:
      return {};
  }
}

constexpr std::array<unsigned char, 256> kByteClasses = [] {
  std::array<unsigned char, 256> classes{};
  for (size_t i = 0; i < classes.size(); ++i)
    classes[i] = i >= 128 ? kNonAscii : EntityOf(static_cast<char>(i)).empty() ? kPlain : kMarkup;
  return classes;
}();

void AppendUnitReference(uint32_t unit, std::string& out) {
  char text[8] = {'&', '#'};
  char* end = std::to_chars(text + 2, text + sizeof(text) - 1, unit).ptr;
  *end++ = ';';
  out.append(text, end);
}

// A character outside the Basic Multilingual Plane becomes two references, one for each surrogate.
void AppendCharacterReference(UChar32 c, std::string& out) {
  if (c <= 0xFFFF) {
    AppendUnitReference(static_cast<uint32_t>(c), out);
  } else {
    AppendUnitReference(U16_LEAD(c), out);
    AppendUnitReference(U16_TRAIL(c), out);
  }
}

// Copies the text with each byte class of `mask` encoded. False for invalid UTF-8 where non-ASCII
// characters are encoded.
bool Encode(std::string_view text, unsigned mask, std::string& out) {
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const size_t run = i;
    unsigned found = 0;
    while (i < text.size() &&
           (found = kByteClasses[static_cast<unsigned char>(text[i])] & mask) == 0)
      ++i;
    out.append(text, run, i - run);
    if (found == kMarkup) {
      out.append(EntityOf(text[i++]));
    } else if (found == kNonAscii) {
      const UChar32 c = NextCharacter(text, i);
      if (c < 0) return false;
      AppendCharacterReference(c, out);
    }
  }
  return true;
}

// The value of a digit in any base up to 16, or more than any.
constexpr unsigned DigitOf(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : UINT_MAX;
}

// The number of a reference, cut to a UTF-16 unit: hexadecimal after "x" or "0x", octal after "0",
// else decimal. What is no number is 0. The odd cases are those of strtoul with 64 bits, whatever
// the C library reads and how wide its longs are: white space and a sign may stand in front, what
// stands behind the digits is ignored, and a number that is too great is the greatest one.
char16_t ReadUnit(std::string_view number) {
  unsigned base = number.front() == 'x' ? 16 : 10;
  number.remove_prefix(
      base == 16 ? 1 : std::min(number.find_first_not_of(" \t\n\v\f\r"), number.size()));
  const bool negative = base == 10 && number.starts_with('-');
  if (base == 10 && (negative || number.starts_with('+'))) number.remove_prefix(1);
  if (base == 10 && number.starts_with('0')) {
    const bool isHexadecimal =
        number.size() > 2 && (number[1] | 0x20) == 'x' && DigitOf(number[2]) < 16;
    base = isHexadecimal ? 16 : 8;
    number.remove_prefix(isHexadecimal ? 2 : 1);
  }
  uint64_t value = 0;
  for (; !number.empty() && DigitOf(number.front()) < base; number.remove_prefix(1)) {
    const uint64_t digit = DigitOf(number.front());
    if (value > (UINT64_MAX - digit) / base) return static_cast<char16_t>(UINT64_MAX);
    value = value * base + digit;
  }
  return static_cast<char16_t>(negative ? 0 - value : value);
}

// Units of consecutive references are gathered so that surrogate pairs join. A unit 0 ends them.
bool FlushUnits(std::u16string& pending, std::string& out) {
  const bool converted =
      AppendUtf8(std::u16string_view(pending).substr(0, pending.find(u'\0')), out);
  pending.clear();
  return converted;
}

bool DecodeCharacterReferences(std::string_view rest, std::string& out) {
  constexpr std::string_view kOpen = "&#";
  std::u16string pending;
  out.reserve(rest.size());
  while (!rest.empty()) {
    const size_t at = rest.find(kOpen);
    if (at == std::string_view::npos || at + kOpen.size() >= rest.size()) break;
    if (at > 0) {
      if (!FlushUnits(pending, out)) return false;
      out.append(rest, 0, at);
    }
    rest.remove_prefix(at + kOpen.size());
    const size_t end = rest.find(';');
    if (end == std::string_view::npos) break;  // unterminated: its "&#" is lost, deliberately
    if (end > 0) pending.push_back(ReadUnit(rest.substr(0, end)));
    rest.remove_prefix(end + 1);
  }
  if (!FlushUnits(pending, out)) return false;
  out.append(rest);
  return true;
}

struct Entity {
  std::string_view name;
  char character;
};

// The text behind an ampersand.
const Entity* FindEntity(std::string_view text) {
  static constexpr Entity kEntities[] = {
      {"apos;", '\''}, {"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"quot;", '"'}};
  for (const Entity& entity : kEntities)
    if (text.starts_with(entity.name)) return &entity;
  return nullptr;
}

// The entities are decoded in the order quot, amp, apos, lt, gt. So an ampersand that comes from
// "&amp;" can begin one of the last three, which is then decoded too, but neither of the others.
void DecodeEntities(std::string_view text, std::string& out) {
  out.reserve(text.size());
  for (size_t at; (at = text.find('&')) != std::string_view::npos;) {
    out.append(text, 0, at);
    text.remove_prefix(at + 1);
    const Entity* entity = FindEntity(text);
    text.remove_prefix(entity != nullptr ? entity->name.size() : 0);
    if (entity != nullptr && entity->character == '&') {
      const Entity* second = FindEntity(text);
      if (second != nullptr && second->character != '&' && second->character != '"') {
        text.remove_prefix(second->name.size());
        entity = second;
      }
    }
    out.push_back(entity != nullptr ? entity->character : '&');
  }
  out.append(text);
}

uint32_t Finish(bool converted, std::string& result, std::string& out) {
  if (!converted) result.clear();
  out = std::move(result);
  return converted ? 1 : 0;
}

}  // namespace

uint32_t XMLUtility::ConvertStringUTF8ToReference(std::string_view text, std::string& out) const {
  std::string composed;
  std::string result;
  const std::string_view source = ComposeUtf8(UntilZero(text), composed);
  return Finish(!source.empty() && Encode(source, kMarkup | kNonAscii, result), result, out);
}

uint32_t XMLUtility::ConvertStringReferenceToUTF8(std::string_view text, std::string& out) const {
  std::string characters;
  if (text.empty() || !DecodeCharacterReferences(text, characters) || characters.empty()) {
    out.clear();
    return 0;
  }
  std::string decoded;
  DecodeEntities(characters, decoded);
  decoded.resize(UntilZero(decoded).size());
  std::string composed;
  const std::string_view result = ComposeUtf8(decoded, composed);
  return Finish(result.data() != nullptr, result.data() == decoded.data() ? decoded : composed,
                out);
}

uint32_t XMLUtility::ConvertStringUTF8ToEntityReference(std::string_view text,
                                                        std::string& out) const {
  std::string result;
  return Finish(!text.empty() && Encode(text, kMarkup, result), result, out);
}

uint32_t XMLUtility::ConvertStringEntityReferenceToUTF8(std::string_view text,
                                                        std::string& out) const {
  std::string result;
  DecodeEntities(text, result);
  return Finish(!text.empty(), result, out);
}

uint32_t XMLUtility::ConvertStringUTF8ToCharacterReference(std::string_view text,
                                                           std::string& out) const {
  std::string result;
  return Finish(!text.empty() && Encode(UntilZero(text), kNonAscii, result), result, out);
}

uint32_t XMLUtility::ConvertStringCharacterReferenceToUTF8(std::string_view text,
                                                           std::string& out) const {
  std::string result;
  return Finish(!text.empty() && DecodeCharacterReferences(text, result), result, out);
}

}  // namespace kelo
