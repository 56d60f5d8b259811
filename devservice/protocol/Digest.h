// The digests of the protocol, computed here independently of the library that the service judges,
// and what must not be guessed.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace kelo::devservice {

// Lowercase hexadecimal SHA-1.
std::string Sha1Hex(std::string_view text);

// Lowercase hexadecimal MD5 of a file's contents; empty when the file cannot be read.
std::string Md5HexOfFile(const std::filesystem::path& path);

// Capital letters and digits that nobody can guess, from the system's random source; 256 at most.
// Throws std::runtime_error where that has none.
std::string RandomText(size_t size = 32);

}  // namespace kelo::devservice
