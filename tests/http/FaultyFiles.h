// Files that fail on demand: this program's write, close, openat, linkat and fstat stand before the
// system's.
#pragma once

#include <cstddef>

namespace kelo {

// While one lives, writes to regular files fail once so many bytes were written, and with
// `onClose` their closing fails instead.
class FaultyFiles {
 public:
  FaultyFiles(int error, std::size_t bytesBefore, bool onClose = false);
  FaultyFiles(const FaultyFiles&) = delete;
  FaultyFiles& operator=(const FaultyFiles&) = delete;
  ~FaultyFiles();
};

// While one lives, zeros written to regular files become holes, which take no space.
class HollowFiles {
 public:
  HollowFiles();
  HollowFiles(const HollowFiles&) = delete;
  HollowFiles& operator=(const HollowFiles&) = delete;
  ~HollowFiles();
};

// While one lives, a kind of call is refused with an error.
class RefusedCalls {
 public:
  enum Call { kNamelessFile, kLink, kStat, kNumberOfCalls };
  RefusedCalls(Call call, int error);
  RefusedCalls(const RefusedCalls&) = delete;
  RefusedCalls& operator=(const RefusedCalls&) = delete;
  ~RefusedCalls();

 private:
  const Call call_;
};

}  // namespace kelo
