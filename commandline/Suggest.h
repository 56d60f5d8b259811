// "Did you mean": the known name that comes nearest to a mistyped one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelo {

// The name of `known` that differs least from `wanted` in its characters (UTF-8, case folded): one
// is missing, added or another, or two neighbours are exchanged. Of equally near ones the first;
// none where more than a third would have to change. Comes in the known name's own writing.
std::optional<std::string> Closest(std::string_view wanted, const std::vector<std::string>& known);

}  // namespace kelo
