// What the texts of a request mean: a number, or a list of pieces.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace kelo::devservice {

// The number that the whole text is; nothing where it is none, or too large.
template <typename Number = std::uint64_t>
std::optional<Number> NumberOf(std::string_view text, int base = 10) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// The pieces of a list; empty ones are left out.
inline std::vector<std::string_view> PiecesOf(std::string_view list, char separator) {
  std::vector<std::string_view> pieces;
  while (!list.empty()) {
    const size_t end = std::min(list.find(separator), list.size());
    if (end > 0) pieces.push_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return pieces;
}

}  // namespace kelo::devservice
