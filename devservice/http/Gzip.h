// Compressed answers.
#pragma once

#include <string>
#include <string_view>

namespace kelo::devservice {

// One gzip member, compressed for speed.
std::string Gzip(std::string_view bytes);

}  // namespace kelo::devservice
