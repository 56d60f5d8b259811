// SHA-256, by which kelo knows what a file holds, and names accounts.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelo::host {

// 64 lowercase hexadecimal digits. Throws Failure where the cryptographic library makes none.
std::string Sha256(std::string_view bytes);

// Of what the file holds; empty when it cannot be read.
std::string Sha256OfFile(const std::filesystem::path& path);

}  // namespace kelo::host
