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

// The path by which this process can write into an open folder: it leads there even if the folder
// is moved. Where the system has none, `path`.
std::filesystem::path PathOf(int folder, const std::filesystem::path& path);

class Arrival {
 public:
  // Creates the folder if need be. It stays the same folder even if it is moved meanwhile.
  // Throws std::system_error.
  explicit Arrival(const std::filesystem::path& folder);
  // Removes the arriving file, unless it has settled.
  ~Arrival();
  Arrival(const Arrival&) = delete;
  Arrival& operator=(const Arrival&) = delete;

  // Where the arriving file goes, one at a time: a name in a folder, in which nothing has it.
  int Folder() const { return folder_.Number(); }
  const std::string& Name() const { return name_; }

  // Removes what a worker has left that died of it.
  void Clear() const;
  // Whether the arrived file is a document of the protocol: some services answer so instead of with
  // an error.
  bool IsMessage() const;
  // The digest of the arrived file, which has no name any more while it is read: an abort leaves
  // nothing, however long that takes. Empty when it cannot be read.
  std::string TakeDigest() const;
  // Dates the arrived file and writes it to the disk, which may take long. Then Settle renames it.
  // Where something has the name: EEXIST, or with `replace` it takes that place in one step.
  // Both: 0 or errno; after a failure there is no arrived file. Through descriptors alone: no link
  // is followed.
  int Finish(std::optional<std::time_t> modified);
  int Settle(const std::string& name, bool replace);
  // Bytes of the file that has settled last.
  std::uint64_t Size() const { return size_; }

 private:
  void TakeName();
  int ClearUnless(int error) const;
  int DateAndSync(std::optional<std::time_t> modified);
  int Move(const std::string& name) const;
  int MoveToFreePlace(const std::string& name) const;

  const MustTidy tidy_;
  OwnedFile folder_;
  std::string name_;
  OwnedFile lock_;
  std::uint64_t size_ = 0;
};

}  // namespace kelo::host
