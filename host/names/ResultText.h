// What a result code of the library means to a person, and what main() says of a failure.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "host/names/Failure.h"

namespace kelo::host {

// The library's words, and what to do about an ended session.
std::string ResultWords(std::uint32_t code, std::uint32_t command = 0);

// The words and the number: "the connection was lost (4129)".
std::string ResultText(std::uint32_t code, std::uint32_t command = 0);

// What main() says of a failure.
std::string Sentence(const std::exception& failure);

}  // namespace kelo::host
