// The file that a download writes. It exists only if this object created it, and it goes again
// unless the download keeps it: whatever happens in between, no partial file stays behind.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "platform/FileStream.h"

namespace kelo {

/// One thread at a time. Results are transport codes.
class DownloadFile {
 public:
  DownloadFile() = default;
  DownloadFile(const DownloadFile&) = delete;
  DownloadFile& operator=(const DownloadFile&) = delete;
  ~DownloadFile() { Discard(); }

  bool IsOpen() const { return static_cast<bool>(file_); }
  /// Creates the file. Anything that stands at the path is left alone, a dangling link included.
  uint32_t Create(const std::string& path);
  uint32_t Write(std::string_view data);
  /// Closes the file and keeps it, unless closing shows that data was lost.
  uint32_t Keep();
  /// Closes the file and removes it, if it still is the one that was created.
  void Discard();

 private:
  void RemoveIfStillOurs();

  std::string path_;
  FileDescriptor file_;
  dev_t device_ = 0;  // what was created, to be told from what may stand there later
  ino_t inode_ = 0;
};

}  // namespace kelo
