// Regular files that fail on demand: this program's write and close stand before the system's.
#pragma once

#include <cstddef>

namespace kelo {

/// While one lives, writes to regular files fail once so many bytes were written, and with
/// `onClose` their closing fails instead.
class FaultyFiles {
 public:
  FaultyFiles(int error, std::size_t bytesBefore, bool onClose = false);
  FaultyFiles(const FaultyFiles&) = delete;
  FaultyFiles& operator=(const FaultyFiles&) = delete;
  ~FaultyFiles();
};

}  // namespace kelo
