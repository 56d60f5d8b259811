// Writes and reads the references; surrogates must come in pairs, or the text is refused.
#include "devservice/protocol/References.h"

#include <unicode/utf8.h>

#include <array>
#include <cstdint>
#include <utility>

#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr std::array<std::pair<std::string_view, char>, 5> kEntities{{
    {"amp", '&'},
    {"quot", '"'},
    {"apos", '\''},
    {"lt", '<'},
    {"gt", '>'},
}};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside the Unicode library's macros
void AppendUtf8(std::string& out, char32_t c) {
  char bytes[U8_MAX_LENGTH];
  size_t size = 0;
  U8_APPEND_UNSAFE(bytes, size, c);
  out.append(bytes, size);
}

// Takes one character off the text, or the bytes that are no UTF-8: then there is no value.
std::optional<char32_t> TakeUtf8(std::string_view& text) {
  UChar32 c;
  size_t size = 0;
  U8_NEXT(text.data(), size, text.size(), c);
  text.remove_prefix(size);
  return c < 0 ? std::nullopt : std::optional(static_cast<char32_t>(c));
}
#pragma GCC diagnostic pop

void AppendUnit(std::string& out, char32_t unit) {
  out += "&#" + std::to_string(static_cast<std::uint32_t>(unit)) + ";";
}

void AppendReference(std::string& out, char32_t c) {
  for (const auto& [name, character] : kEntities) {
    if (c == static_cast<unsigned char>(character)) {
      out += '&';
      out += name;
      out += ';';
      return;
    }
  }
  if (c >= 0x20 && c < 0x7F) {
    out += static_cast<char>(c);
  } else if (c < 0x10000) {
    AppendUnit(out, c);
  } else {
    AppendUnit(out, 0xD800 + ((c - 0x10000) >> 10));
    AppendUnit(out, 0xDC00 + ((c - 0x10000) & 0x3FF));
  }
}

// The value between "&" and ";".
std::optional<char32_t> ReferenceValue(std::string_view body) {
  for (const auto& [name, character] : kEntities)
    if (body == name) return static_cast<unsigned char>(character);
  if (body.size() < 2 || body.front() != '#') return std::nullopt;
  body.remove_prefix(1);
  const int base = body.front() == 'x' ? 16 : 10;
  if (base == 16) body.remove_prefix(1);
  const auto value = NumberOf<std::uint32_t>(body, base);
  return value && *value <= 0x10FFFF ? value : std::nullopt;
}

}  // namespace

std::string EncodeReferences(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size() + 16);
  while (!utf8.empty()) AppendReference(out, TakeUtf8(utf8).value_or(kReplacement));
  return out;
}

std::optional<std::string> DecodeReferences(std::string_view value) {
  std::string out;
  out.reserve(value.size());
  char32_t high = 0;  // a first surrogate that waits for its second
  while (!value.empty()) {
    std::optional<char32_t> c;
    const bool isReference = value.front() == '&';
    if (isReference) {
      const size_t end = value.find(';');
      if (end == std::string_view::npos) return std::nullopt;
      c = ReferenceValue(value.substr(1, end - 1));
      value.remove_prefix(end + 1);
    } else {
      c = TakeUtf8(value);
    }
    if (!c) return std::nullopt;
    const bool isLow = *c >= 0xDC00 && *c < 0xE000;
    if (isLow != (high != 0)) return std::nullopt;
    if (isLow) {
      AppendUtf8(out, 0x10000 + ((high - 0xD800) << 10) + (*c - 0xDC00));
      high = 0;
    } else if (*c >= 0xD800 && *c < 0xDC00) {
      high = *c;
    } else {
      AppendUtf8(out, *c);
    }
  }
  if (high != 0) return std::nullopt;
  return out;
}

}  // namespace kelo::devservice
