// Open files, the locks on them, and names that nobody can guess. A lock goes with its holder,
// however that ends, and counts between containers and, where the file system is one of a network,
// between machines: what a process id could tell is less.
#pragma once

#include <unistd.h>

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

// Locks an open file for its opening alone.
LockResult Lock(const OwnedFile& file, bool wait);

// Opens the file in the folder for a lock, and makes it, for the user alone, where there is none.
// A link is not followed. No descriptor and errno on failure.
OwnedFile OpenLockFile(const OwnedFile& folder, const std::string& name);

// 32 hexadecimal digits from the system's random source, and whether something may be one.
std::string RandomName();
bool IsRandomName(std::string_view name);

}  // namespace kelo::host
