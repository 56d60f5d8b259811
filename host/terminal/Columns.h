// How many columns of a terminal a text takes. By the Unicode library, so that it does not depend
// on the locale; where terminals differ, what the widest of them shows.
#pragma once

#include <string>
#include <string_view>

namespace kelo::host {

size_t Columns(std::string_view text);

// The text where it fits, otherwise its beginning and, behind "...", as much of its end: names of
// pictures differ there. Never wider than `columns`, never cut inside a character.
std::string FitColumns(const std::string& text, size_t columns);

}  // namespace kelo::host
