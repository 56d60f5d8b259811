// Files and folders that nobody but their owner can read, whatever the umask of the process.
#pragma once

#include <filesystem>

#include "devservice/files/Descriptor.h"

namespace kelo::devservice {

// All three throw std::filesystem::filesystem_error.

// Folders that exist keep their mode; those that are made are 0700.
void MakePrivateFolder(const std::filesystem::path& folder);

// Makes the file, empty, where there is none; 0600 in any case, but for devices and pipes.
void MakePrivateFile(const std::filesystem::path& file);

// Keeps others out of the folder for as long as the descriptor lives. Throws std::runtime_error
// where somebody else does.
Descriptor LockFolder(const std::filesystem::path& folder);

}  // namespace kelo::devservice
