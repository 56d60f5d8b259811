// SHA-256, by which kelo knows what a file holds, and names accounts.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "host/library/FileLock.h"

namespace kelo::host {

// 64 lowercase hexadecimal digits. Throws Failure where the cryptographic library makes none.
std::string Sha256(std::string_view bytes);

// Of what the file holds, an open one from where it stands; empty when it cannot be read, or when a
// signal is to end the program.
std::string Sha256OfFile(const std::filesystem::path& path);
std::string Sha256OfFile(const OwnedFile& file);

}  // namespace kelo::host
