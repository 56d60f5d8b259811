// Texts from elsewhere, made fit for a terminal.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kelo {

// Every control, direction mark and malformed byte replaced by "?".
std::string Printable(std::string_view text);

// These and every character of `also` replaced by what `instead` makes of them.
std::string Printable(std::string_view text, std::string_view also,
                      const std::function<std::string(std::string_view)>& instead);

}  // namespace kelo
