// Texts from elsewhere, made fit for whoever reads them: a terminal, or a line of the trace.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kelo {

// Every control, separator of lines, direction mark, invisible format character and malformed byte
// replaced by "?". A joiner (U+200C, U+200D) stays between two characters beyond ASCII, whose
// shapes it decides, as in Persian words and families of emoji.
std::string Printable(std::string_view text);

// These and every character of `also` replaced by what `instead` makes of them.
std::string Printable(std::string_view text, std::string_view also,
                      const std::function<std::string(std::string_view)>& instead);

}  // namespace kelo
