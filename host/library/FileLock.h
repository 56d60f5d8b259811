// Open files, the locks on them, and names that nobody can guess. The system takes a lock away when
// its holder ends, however that is. Unlike process ids, locks also work between containers and, on
// network file systems, between machines.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace kelo::host {

// Owns a file descriptor; -1 is none.
class OwnedFile {
 public:
  explicit OwnedFile(int number = -1) : number_(number) {}
  ~OwnedFile() { Close(); }
  OwnedFile(OwnedFile&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  OwnedFile& operator=(OwnedFile&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  int Number() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  bool Close() { return number_ < 0 || ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

enum class LockResult {
  kTaken,  // until every descriptor of this opening is closed
  kHeld,   // by another opening; only without waiting
  kNone    // the file system has no locks; errno tells why
};

// Locks an open file. Only this opening of it has the lock; with `wait` it waits for the holder.
LockResult Lock(const OwnedFile& file, bool wait);

// Opens the folder, and makes it where there is none; either way it is the user's alone from then
// on. No file and errno on failure.
OwnedFile OpenPrivateFolder(const std::filesystem::path& folder);

// Opens the file in the folder for a lock, and makes it, for the user alone, where there is none.
// A link is not followed. No descriptor and errno on failure.
OwnedFile OpenLockFile(const OwnedFile& folder, const std::string& name);

// 32 hexadecimal digits from the system's random source, and whether something may be one.
std::string RandomName();
bool IsRandomName(std::string_view name);

}  // namespace kelo::host
