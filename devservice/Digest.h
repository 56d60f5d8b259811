// The digests of the protocol, computed here independently of the library that the service judges.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelo::devservice {

// Lowercase hexadecimal SHA-1.
std::string Sha1Hex(std::string_view text);

// Lowercase hexadecimal MD5 of a file's contents; empty when the file cannot be read.
std::string Md5HexOfFile(const std::filesystem::path& path);

}  // namespace kelo::devservice
