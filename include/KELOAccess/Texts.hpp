// Part of KELOAccess.hpp. Texts into the fields of records and out of them, UTF-8, references.
#ifndef KELOACCESS_TEXTS_HPP
#define KELOACCESS_TEXTS_HPP

#include <algorithm>
#include <cstring>

#include "KELOAccess/Words.h"

namespace kelo {
namespace detail {

// What stands at the beginning of a text: a character of UTF-8, or bytes that belong to none.
struct Utf8Piece {
  std::size_t length;
  bool isCharacter;
};

constexpr Utf8Piece FirstPiece(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return {1, true};
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // Behind these leads, one bound keeps out longer forms than needed, surrogates and what is too great.
  unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t at = 1; at < length; ++at, low = 0x80, high = 0xBF)
    if (at == text.size() || byte(at) < low || byte(at) > high) return {at, false};
  return {length, true};
}

constexpr bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const Utf8Piece piece = FirstPiece(text);
    if (!piece.isCharacter) return false;
    text.remove_prefix(piece.length);
  }
  return true;
}

inline void AppendUtf8(char32_t character, std::string& out) {
  const auto append = [&](char32_t bits) { out.push_back(static_cast<char>(bits)); };
  if (character < 0x80) return append(character);
  if (character < 0x800) {
    append(0xC0 | (character >> 6));
  } else {
    if (character < 0x10000) {
      append(0xE0 | (character >> 12));
    } else {
      append(0xF0 | (character >> 18));
      append(0x80 | ((character >> 12) & 0x3F));
    }
    append(0x80 | ((character >> 6) & 0x3F));
  }
  append(0x80 | (character & 0x3F));
}

// A reference at the beginning of a text; length 0 if none stands there.
struct Reference {
  char32_t character = 0;
  std::size_t length = 0;
};

// The number of "&#65;" or "&#x41;", whether or not it is a character's.
constexpr Reference FirstNumber(std::string_view text) {
  if (!text.starts_with("&#")) return {};
  std::size_t at = 2;
  const bool isHex = text.size() > at && (text[at] == 'x' || text[at] == 'X');
  const char32_t base = isHex ? 16 : 10;
  if (isHex) ++at;
  char32_t number = 0;
  const std::size_t begin = at;
  for (; at < text.size() && text[at] != ';'; ++at) {
    const char c = text[at];
    const int digit = c >= '0' && c <= '9'            ? c - '0'
                      : isHex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : isHex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                      : -1;
    if (digit < 0) return {};
    number = number * base + static_cast<char32_t>(digit);
    if (number > 0x10FFFF) return {};
  }
  if (at == begin || at == text.size()) return {};
  return {number, at + 1};
}

// Whether a text is the first part of a number's reference, without its end.
inline bool IsCutNumber(std::string_view text) {
  constexpr std::string_view kBeginnings[] = {"&", "&#", "&#x", "&#X"};
  return std::count(std::begin(kBeginnings), std::end(kBeginnings), text) > 0 ||
         (text.starts_with('&') && FirstNumber(std::string(text) + ';').length == text.size() + 1);
}

constexpr bool IsLeadSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }

inline constexpr std::pair<std::string_view, char32_t> kEntities[] = {
    {"&amp;", U'&'}, {"&quot;", U'"'}, {"&apos;", U'\''}, {"&lt;", U'<'}, {"&gt;", U'>'}};

constexpr Reference FirstReference(std::string_view text) {
  if (!text.starts_with('&')) return {};
  for (const auto& [entity, character] : kEntities)
    if (text.starts_with(entity)) return {character, entity.size()};
  const Reference first = FirstNumber(text);
  if (first.character == 0) return {};
  if (first.character < 0xD800 || first.character > 0xDFFF) return first;
  const Reference second = FirstNumber(text.substr(first.length));
  const bool isPair = IsLeadSurrogate(first.character) && second.character >= 0xDC00 &&
                      second.character <= 0xDFFF;
  if (!isPair) return {};
  return {0x10000 + ((first.character - 0xD800) << 10) + (second.character - 0xDC00),
          first.length + second.length};
}

// How much at the beginning of a text is ASCII, without references.
constexpr std::size_t PlainLength(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && text[length] != '&' &&
         static_cast<unsigned char>(text[length]) < 0x80)
    ++length;
  return length;
}

// Whether a text that begins with no reference is nothing but the first part of a reference, of a pair
// of them, or of a character.
inline bool IsCutHere(std::string_view text) {
  const Reference lead = FirstNumber(text);
  if (IsLeadSurrogate(lead.character))
    return text.size() == lead.length || IsCutNumber(text.substr(lead.length));
  const bool isCutEntity =
      std::any_of(std::begin(kEntities), std::end(kEntities),
                  [&](const auto& entity) { return entity.first.starts_with(text); });
  if (isCutEntity || IsCutNumber(text)) return true;
  const Utf8Piece piece = FirstPiece(text);
  return !piece.isCharacter && piece.length == text.size();
}

// What a text is called in the words of an Error, and the command that it is for.
struct TextName {
  std::string_view name;
  std::uint32_t command;

  [[noreturn]] void Refuse(const std::string& why) const {
    throw Error("the " + std::string(name) + " " + why, command);
  }
};

// Throws where a text cannot cross whole; `most` is in bytes.
inline void RequireWhole(std::string_view text, std::size_t most, const TextName& name) {
  if (text.size() > most)
    name.Refuse("has " + std::to_string(text.size()) + " bytes, and at most " +
                std::to_string(most) + " are possible");
  if (text.find('\0') != std::string_view::npos) name.Refuse("has a NUL in it");
}
inline void RequireText(std::string_view text, std::size_t most, const TextName& name) {
  RequireWhole(text, most, name);
  if (!IsUtf8(text)) name.Refuse("is not UTF-8");
}

// Fills a cleared field with a text, or with an id.
template <std::size_t N>
void Put(char (&field)[N], std::string_view text, const TextName& name) {
  RequireText(text, N - 1, name);
  text.copy(field, text.size());
}
template <std::size_t N>
void PutId(char (&field)[N], std::string_view id, std::uint32_t command) {
  RequireWhole(id, KELO_ID_FIELD_SIZE - 1, {"id", command});  // some are no UTF-8
  id.copy(field, id.size());
}

// A text lent for one command, which only reads it; the record's pointer serves outputs too.
inline tagKELO_StringInfo Lent(const std::string& text) {
  return {const_cast<char*>(text.data()), static_cast<std::uint32_t>(text.size())};
}

// Owns what the library hands out in a text of a record.
class HandedText {
 public:
  explicit HandedText(tagKELO_StringInfo& info) : info_(info) {}
  ~HandedText() { Free(); }
  HandedText(const HandedText&) = delete;
  HandedText& operator=(const HandedText&) = delete;

  std::string_view Text() const { return {info_.text, info_.length}; }
  void Free() { KELOFreeText(&info_); }

 private:
  tagKELO_StringInfo& info_;
};

// The pieces of an address list between ";" (or ","), without blanks around; empty ones are left out.
inline std::vector<std::string> SplitAddresses(std::string_view list) {
  std::vector<std::string> pieces;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find_first_of(";,"), list.size());
    const std::string_view piece = list.substr(0, end);
    list.remove_prefix(std::min(end + 1, list.size()));
    const std::size_t begin = piece.find_first_not_of(' ');
    if (begin != std::string_view::npos)
      pieces.emplace_back(piece.substr(begin, piece.find_last_not_of(' ') + 1 - begin));
  }
  return pieces;
}

inline std::string JoinAddresses(std::span<const std::string> addresses) {
  std::string list;
  for (const std::string& address : addresses) {
    if (!list.empty() && !address.empty()) list += ';';
    list += address;
  }
  return list;
}

}  // namespace detail

template <std::size_t N>
std::string_view FieldText(const char (&field)[N]) {
  const void* end = std::memchr(field, '\0', N);
  return {field, end == nullptr ? N : static_cast<std::size_t>(static_cast<const char*>(end) - field)};
}

inline std::string Decoded(std::string_view raw, bool isCut) {
  std::string text;
  text.reserve(raw.size());
  while (!raw.empty()) {
    const std::size_t plain = detail::PlainLength(raw);
    text.append(raw.substr(0, plain));
    raw.remove_prefix(plain);
    if (raw.empty()) break;
    const detail::Reference found = detail::FirstReference(raw);
    if (found.length > 0) {
      detail::AppendUtf8(found.character, text);
      raw.remove_prefix(found.length);
      continue;
    }
    if (isCut && detail::IsCutHere(raw)) break;
    const detail::Utf8Piece piece = detail::FirstPiece(raw);
    text.append(piece.isCharacter ? raw.substr(0, piece.length) : "\xEF\xBF\xBD");
    raw.remove_prefix(piece.length);
  }
  return text;
}

inline Item::Item(const tagKELO_ItemInfo& record)
    : id(FieldText(record.itemId)),
      parentId(FieldText(record.parentId)),
      kind(static_cast<Kind>(record.kind)),
      fileFormat(record.fileFormat),
      itemCount(record.itemCount),
      nameMayBeCut(FieldText(record.name).size() == sizeof record.name - 1),
      modifyDate(Decoded(FieldText(record.modifyDate))),
      shotDate(Decoded(FieldText(record.shotDate))),
      uploadDate(Decoded(FieldText(record.uploadDate))),
      screenUrl(Decoded(FieldText(record.screenUrl))),
      originalUrl(Decoded(FieldText(record.origUrl))),
      raw{std::string(FieldText(record.name)),
          std::string(FieldText(record.screenUrl)),
          std::string(FieldText(record.origUrl))} {
  name = Decoded(raw.name, nameMayBeCut);
}

}  // namespace kelo

#endif  // KELOACCESS_TEXTS_HPP
