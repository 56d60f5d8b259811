// Compares by edit distance: how many characters to add, drop, replace or exchange.
#include "commandline/Suggest.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>

#include "text/Unicode.h"

namespace kelo {
namespace {

using Characters = std::vector<UChar32>;

// Bytes that are not UTF-8 all count as one character, which is no real one.
Characters Folded(std::string_view text) {
  Characters characters;
  for (size_t i = 0; i < text.size();)
    characters.push_back(u_foldCase(NextCharacter(text, i), U_FOLD_CASE_DEFAULT));
  return characters;
}

size_t Distance(const Characters& a, const Characters& b) {
  // Rows of the table of distances between beginnings of `a` and of `b`: this one, and two before.
  std::array<std::vector<size_t>, 3> rows;
  rows.fill(std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    const auto& before = rows[(i + 2) % 3];
    const auto& twoBefore = rows[(i + 1) % 3];
    auto& row = rows[i % 3];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      if (i == 0) {
        row[j] = j;
        continue;
      }
      const bool same = a[i - 1] == b[j - 1];
      row[j] = std::min({row[j - 1] + 1, before[j] + 1, before[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], twoBefore[j - 2] + 1);
    }
  }
  return rows[a.size() % 3].back();
}

}  // namespace

std::optional<std::string> Closest(std::string_view wanted, const std::vector<std::string>& known) {
  const Characters from = Folded(wanted);
  std::optional<std::string> closest;
  size_t least = 0;
  for (const std::string& name : known) {
    const Characters to = Folded(name);
    const size_t longer = std::max(from.size(), to.size());
    const size_t limit = std::max<size_t>(1, longer / 3);
    // A length that differs by more cannot be near, and a single letter resembles nothing.
    if (longer < 2 || longer - std::min(from.size(), to.size()) > limit) continue;
    const size_t distance = Distance(from, to);
    if (distance > limit || (closest && distance >= least)) continue;
    closest = name;
    least = distance;
  }
  return closest;
}

}  // namespace kelo
