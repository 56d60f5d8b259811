// Comparing files.
#pragma once

#include <filesystem>

namespace kelo::host {

// Byte for byte; false also when either cannot be read.
bool SameContent(const std::filesystem::path& left, const std::filesystem::path& right);

}  // namespace kelo::host
