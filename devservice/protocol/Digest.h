// The digests of the protocol, computed here independently of the library that the service judges,
// and what must not be guessed.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelo::devservice {

// Lowercase hexadecimal SHA-1.
std::string Sha1Hex(std::string_view text);

// Lowercase hexadecimal MD5 of a file's contents; empty when the file cannot be read.
std::string Md5HexOfFile(const std::filesystem::path& path);

// 32 hexadecimal digits that nobody can guess.
std::string RandomHex();

}  // namespace kelo::devservice
