// Texts with replacement of what a terminal or a path must not see.
#include "Names.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "text/Unicode.h"
#include "text/XMLUtility.h"

namespace kelo::host {
namespace {

constexpr std::size_t kFileNameBytes = 240;  // leaves room for a suffix

struct Range {
  UChar32 first, last;
};

// Controls, line and paragraph separators, direction marks and overrides, the byte order mark.
constexpr Range kUnshowable[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x200E, 0x200F},
                                 {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF}};

bool Showable(UChar32 character) {
  return character >= 0 && std::none_of(
                               std::begin(kUnshowable), std::end(kUnshowable),
                               [&](const Range& range) {
                                 return character >= range.first && character <= range.last;
                               });
}

// Copies the text with everything unshowable, and every character of `also`, replaced.
std::string Cleaned(std::string_view text, char substitute, std::string_view also) {
  std::string clean;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    const bool keep =
        Showable(NextCharacter(text, i)) && also.find(text[start]) == std::string_view::npos;
    if (keep)
      clean.append(text.substr(start, i - start));
    else
      clean.push_back(substitute);
  }
  return clean;
}

// Shortens before the extension, at a character's start.
std::string Shortened(const std::string& name) {
  if (name.size() <= kFileNameBytes) return name;
  std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || name.size() - dot > 16) dot = name.size();
  const std::string extension = name.substr(dot);
  std::size_t end = kFileNameBytes - extension.size();
  while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0u) == 0x80u) --end;
  return name.substr(0, end) + extension;
}

std::string Component(std::string_view text) {
  std::string name = Cleaned(text, '_', "/\\");
  if (!name.empty() && name[0] == '.') name[0] = '_';
  return Shortened(name);
}

}  // namespace

std::string Resolved(std::string_view raw) {
  if (raw.find('&') == std::string_view::npos) return std::string(raw);
  std::string text;
  if (XMLUtility().ConvertStringReferenceToUTF8(std::string(raw), text) == 0)
    return std::string(raw);
  return text;
}

std::string Shown(std::string_view raw) {
  return Cleaned(Resolved(raw), '?', "");
}

std::string FileName(std::string_view raw, std::string_view fallback) {
  std::string name = Component(Resolved(raw));
  if (name.empty()) name = Component(fallback);
  return name.empty() ? "unnamed" : name;
}

std::string UniqueNames::Take(const std::string& name) {
  const auto folded = [](std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
  };
  std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) dot = name.size();
  std::string unique = name;
  int& last = lastNumber_.try_emplace(folded(name), 1).first->second;
  while (!taken_.insert(folded(unique)).second)
    unique = fmt::format("{} ({}){}", name.substr(0, dot), ++last, name.substr(dot));
  return unique;
}

std::string ByteText(std::uint64_t bytes) {
  if (bytes < 1000) return CountText(bytes, "byte");
  constexpr std::array<const char*, 5> kUnits = {"kB", "MB", "GB", "TB", "PB"};
  double value = static_cast<double>(bytes) / 1000.0;
  std::size_t unit = 0;
  for (; value >= 999.95 && unit + 1 < kUnits.size(); ++unit) value /= 1000.0;
  return fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string CountText(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace kelo::host
