// Files and folders that nobody but their owner can read, whatever the umask of the process.
#pragma once

#include <filesystem>

#include "devservice/files/Descriptor.h"

namespace kelo::devservice {

// All three throw std::system_error.

// Folders that exist keep their mode; those that are made are 0700.
void MakePrivateFolder(const std::filesystem::path& folder);

// Makes an empty file if there is none; mode 0600, except devices and pipes.
void MakePrivateFile(const std::filesystem::path& file);

// Keeps others out of the folder as long as the descriptor lives. Throws std::runtime_error if
// another service has it.
Descriptor LockFolder(const std::filesystem::path& folder);

}  // namespace kelo::devservice
