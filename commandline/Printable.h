// Texts from elsewhere, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace kelo {

// Every control, direction mark and malformed byte, and every character of `also`, replaced by
// `substitute`.
std::string Printable(std::string_view text, char substitute = '?', std::string_view also = "");

}  // namespace kelo
