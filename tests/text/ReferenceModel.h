// The reference conversions step by step, one whole text after the other, as they are defined. The
// real ones must give the same bytes.
#pragma once

#include <cstdlib>
#include <utility>

#include "text/CFTPSStringData.h"
#include "text/XMLUtility.h"

namespace kelo::model {

using Text = std::optional<std::string>;  // nothing: the conversion failed

using Replacement = std::pair<const char*, const char*>;

template <std::size_t N>
Text ReplaceEach(std::string text, const Replacement (&steps)[N]) {
  for (const auto& [search, replacement] : steps) {
    std::string next;
    XMLUtility().ReplaceAllString(text, search, replacement, next);
    if (next.empty()) return std::nullopt;
    text = next;
  }
  return text;
}

inline Text ToEntities(const std::string& text) {
  return ReplaceEach(text, {{"&", "&amp;"},
                            {"\"", "&quot;"},
                            {"'", "&apos;"},
                            {"<", "&lt;"},
                            {">", "&gt;"},
                            {"\r", "&#13;"},
                            {"\n", "&#10;"}});
}

inline Text FromEntities(const std::string& text) {
  return ReplaceEach(
      text, {{"&quot;", "\""}, {"&amp;", "&"}, {"&apos;", "'"}, {"&lt;", "<"}, {"&gt;", ">"}});
}

inline Text ToCharacterReferences(const std::string& text) {
  CFTPSStringData data;
  data.InitWithUtf8(text.c_str());
  const char16_t* unit = text.empty() ? nullptr : data.GetPtrUnicode();
  if (unit == nullptr) return std::nullopt;
  std::string out;
  for (; *unit != 0; ++unit)
    if (*unit < 128)
      out += static_cast<char>(*unit);
    else
      out += "&#" + std::to_string(static_cast<unsigned>(*unit)) + ";";
  return out;
}

inline bool AppendPending(std::u16string& pending, std::string& out) {
  CFTPSStringData data;
  data.InitWithUnicode(pending.c_str());
  const char* utf8 = data.GetPtrUtf8();
  pending.clear();
  out += utf8 != nullptr ? utf8 : "";
  return utf8 != nullptr;
}

inline Text FromCharacterReferences(const std::string& text) {
  if (text.empty()) return std::nullopt;
  std::string rest = text;
  std::string out;
  std::u16string pending;
  while (!rest.empty()) {
    const std::size_t p = rest.find("&#");
    if (p == std::string::npos || !(p + 2 < rest.size())) break;
    if (p > 0) {
      if (!pending.empty() && !AppendPending(pending, out)) return std::nullopt;
      out += rest.substr(0, p);
    }
    rest = rest.substr(p + 2);
    const std::size_t q = rest.find(";");
    if (q == std::string::npos) break;
    if (q > 0) {
      std::string number = rest.substr(0, q);
      if (number[0] == 'x') number = "0" + number;
      pending += static_cast<char16_t>(std::strtoull(number.c_str(), nullptr, 0));
    }
    if (!(q + 1 < rest.size())) {
      rest.clear();
      break;
    }
    rest = rest.substr(q + 1);
  }
  if (!AppendPending(pending, out)) return std::nullopt;
  return out + rest;
}

inline Text Compose(const std::string& text) {
  CFTPSStringData data;
  if (data.InitWithUtf8(text.c_str()) != 0 || data.NormalizeUtf8String() != 0) return std::nullopt;
  return data.GetPtrUtf8();
}

inline Text ToReferences(const std::string& text) {
  Text step = text.empty() ? std::nullopt : Compose(text);
  step = step ? ToEntities(*step) : step;
  return step ? ToCharacterReferences(*step) : step;
}

inline Text FromReferences(const std::string& text) {
  Text step = FromCharacterReferences(text);
  step = step ? FromEntities(*step) : step;
  return step ? Compose(*step) : step;
}

using Conversion = std::uint32_t (XMLUtility::*)(std::string_view, std::string&) const;

// The real one. A failure that does not leave its output empty shows as what it left, and so does
// an output that is another where it is the input.
inline Text Convert(Conversion conversion, std::string_view text) {
  std::string out = "old";
  const bool failed = (XMLUtility().*conversion)(text, out) == 0;
  std::string inPlace(text);
  (XMLUtility().*conversion)(inPlace, inPlace);
  if (inPlace != out) return "in place: " + inPlace;
  return failed && out.empty() ? std::nullopt : Text(out);
}

constexpr Conversion kEncode = &XMLUtility::ConvertStringUTF8ToReference;
constexpr Conversion kDecode = &XMLUtility::ConvertStringReferenceToUTF8;
constexpr Conversion kToEntity = &XMLUtility::ConvertStringUTF8ToEntityReference;
constexpr Conversion kToCharacter = &XMLUtility::ConvertStringUTF8ToCharacterReference;
constexpr Conversion kFromCharacter = &XMLUtility::ConvertStringCharacterReferenceToUTF8;

constexpr std::pair<Conversion, Text (*)(const std::string&)> kConversions[] = {
    {kEncode, ToReferences},
    {kDecode, FromReferences},
    {kToEntity, ToEntities},
    {&XMLUtility::ConvertStringEntityReferenceToUTF8, FromEntities},
    {kToCharacter, ToCharacterReferences},
    {kFromCharacter, FromCharacterReferences}};

}  // namespace kelo::model
