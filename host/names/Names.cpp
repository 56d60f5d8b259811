// Replaces in names what a terminal would obey or a file name cannot have, and numbers namesakes.
#include "host/names/Names.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "text/Printable.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

constexpr size_t kFileNameBytes = 255;  // what file systems take
constexpr size_t kExtensionBytes = 16;  // a longer one is none

// Where the extension begins, with its dot; the end where there is none.
size_t ExtensionAt(const std::string& name) {
  const size_t dot = name.rfind('.');
  const bool none = dot == std::string::npos || dot == 0 || name.size() - dot > kExtensionBytes;
  return none ? name.size() : dot;
}

// "%2F" for "/".
std::string Escaped(std::string_view sign) {
  std::string escaped;
  for (const char byte : sign) escaped += fmt::format("%{:02X}", static_cast<unsigned char>(byte));
  return escaped;
}

// Other percent signs stay as they are, so that names which have some keep them.
std::string WithEscapes(std::string_view text) {
  return Printable(text, "/\\", Escaped);
}

// The sign whose escape stands at `at`; empty where there is none that Component would have made.
std::string EscapedSignAt(std::string_view name, size_t at) {
  std::string bytes;
  for (size_t i = at; bytes.size() < 4 && i + 2 < name.size() && name[i] == '%'; i += 3) {
    unsigned byte = 0;
    const char* const end = name.data() + i + 3;
    if (std::from_chars(name.data() + i + 1, end, byte, 16).ptr != end) break;
    bytes.push_back(static_cast<char>(byte));
  }
  size_t length = 0;
  if (bytes.empty() || NextCharacter(bytes, length) <= 0) return {};
  bytes.resize(length);
  const std::string_view escape = name.substr(at, 3 * length);
  const bool isMade = WithEscapes(bytes) == escape || (at == 0 && escape == Escaped("."));
  return isMade ? bytes : "";
}

// As much of the text as has room, without half of a character or of its escape.
std::string_view Cut(std::string_view text, size_t room) {
  size_t end = 0;
  for (size_t next = 0; next <= room;
       next += std::max<size_t>(3 * EscapedSignAt(text, next).size(), 1))
    end = next;
  return WithoutCutCharacter(text.substr(0, end));
}

// The stem, shortened if need be, and the tail.
std::string Joined(std::string_view stem, const std::string& tail) {
  const size_t room = kFileNameBytes - tail.size();
  return std::string(stem.size() <= room ? stem : Cut(stem, room)) + tail;
}

std::string Shortened(const std::string& name) {
  const size_t extension = ExtensionAt(name);
  return Joined(std::string_view(name).substr(0, extension), name.substr(extension));
}

std::string Component(std::string_view text) {
  std::string name = WithEscapes(Composed(text));
  if (name.starts_with('.')) name.replace(0, 1, Escaped("."));
  return Shortened(name);
}

std::string Unescaped(std::string_view name) {
  std::string plain;
  for (size_t at = 0; at < name.size();) {
    const std::string sign = EscapedSignAt(name, at);
    plain += sign.empty() ? std::string(1, name[at]) : sign;
    at += sign.empty() ? 1 : 3 * sign.size();
  }
  return plain;
}

// Printable ASCII. Most names are, which makes long listings fast.
bool IsPlain(std::string_view text) {
  bool other = false;
  for (const char c : text) other |= c < 0x20 || c > 0x7E;
  return !other;
}

}  // namespace

std::string Composed(std::string_view text) {
  std::string composed;
  const std::string_view whole = ComposeUtf8(text, composed);
  return whole.data() == composed.data() ? composed : std::string(text);
}

std::string Shown(std::string_view text) {
  if (IsPlain(text)) return std::string(text);
  return Printable(Composed(text));
}

std::string FileName(std::string_view name, std::string_view fallback) {
  std::string component = Component(name);
  if (component.empty()) component = Component(fallback);
  return component.empty() ? "unnamed" : component;
}

std::string NumberedName(const std::string& name, int number, Named named) {
  if (number == 1) return name;
  const size_t extension = named == Named::kFile ? ExtensionAt(name) : name.size();
  return Joined(std::string_view(name).substr(0, extension),
                fmt::format(" ({}){}", number, name.substr(extension)));
}

std::string WithoutNumber(const std::string& name) {
  const size_t extension = ExtensionAt(name);
  const size_t mark = name.rfind(" (", extension);
  int number = 0;
  const char* const end = name.data() + extension;
  if (mark == std::string::npos || mark == 0) return name;
  const auto read = std::from_chars(name.data() + mark + 2, end, number);
  const bool isNumber = read.ec == std::errc() && read.ptr + 1 == end && *read.ptr == ')';
  if (!isNumber || name[mark + 2] == '0' || number < 2) return name;
  return name.substr(0, mark) + name.substr(extension);
}

std::vector<std::string> NamesBehind(const std::string& name) {
  std::vector<std::string> names;
  const std::string numberless = WithoutNumber(name);
  for (std::string& other : std::array{numberless, Unescaped(name), Unescaped(numberless)})
    if (other != name && std::ranges::find(names, other) == names.end())
      names.push_back(std::move(other));
  return names;
}

std::string ByteText(std::uint64_t bytes) {
  if (bytes < 1000) return CountText(bytes, "byte");
  constexpr std::array<const char*, 5> kUnits = {"kB", "MB", "GB", "TB", "PB"};
  double value = static_cast<double>(bytes) / 1000.0;
  size_t unit = 0;
  for (; value >= 999.95 && unit + 1 < kUnits.size(); ++unit) value /= 1000.0;
  return fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string DurationText(std::chrono::seconds duration) {
  const auto whole = duration.count();
  if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
  return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string CountText(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string AlsoText(std::uint64_t count, std::string_view words) {
  return count == 0 ? "" : fmt::format(", {} {}", count, words);
}

}  // namespace kelo::host
