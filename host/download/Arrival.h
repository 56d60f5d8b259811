// Where downloads arrive: a file of a random name beside its destination, which moves there when it
// is whole and has its date. A lock file of the same name tells for how long its run lives, so that
// another run into the folder removes what a killed one has left, and nothing else.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

#include "host/library/FileLock.h"
#include "host/library/Interrupt.h"

namespace kelo::host {

class Arrival {
 public:
  // Creates the folder if need be. It stays the same folder even if it is moved meanwhile.
  // Throws std::system_error.
  explicit Arrival(const std::filesystem::path& folder);
  // Removes the arriving file, unless it has settled.
  ~Arrival();
  Arrival(const Arrival&) = delete;
  Arrival& operator=(const Arrival&) = delete;

  // The path of the arriving file; one at a time. Nothing stands there.
  std::filesystem::path Path() const;

  // Dates the arrived file, writes it to the disk and gives it the name in the folder. If something
  // has the name: EEXIST; with `replace` it is replaced. 0 or errno; after a failure there is no
  // arrived file. Through descriptors alone: no link is followed.
  int Settle(const std::string& name, std::optional<std::time_t> modified, bool replace);
  // Bytes of the file that has settled last.
  std::uint64_t Size() const { return size_; }

 private:
  void TakeName();
  int Finish(std::optional<std::time_t> modified);
  int Move(const std::string& name) const;
  int MoveToFreePlace(const std::string& name) const;

  const MustTidy tidy_;
  const std::filesystem::path path_;
  OwnedFile folder_;
  std::string name_;
  OwnedFile lock_;
  std::uint64_t size_ = 0;
};

}  // namespace kelo::host
