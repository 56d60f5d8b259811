// Owned file descriptors, and reading and writing through them without partial results.
//
// `error` arguments receive errno values, 0 on success. Interrupted calls are repeated. Descriptors
// are closed on exec. One thread at a time per descriptor.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace kelo {

// Owns one descriptor; closes it at the end of its life.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      Close();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { Close(); }

  int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  // Closes now. 0, or the errno by which the system reports that written data was lost.
  int Close();

 private:
  int fd_ = -1;
};

// Opens a folder as the place of files: it stays the same whatever becomes of its path and of the
// working directory.
FileDescriptor OpenFolder(const std::string& path);

// Creates a file that did not exist: a file or link in its place is EEXIST and is left alone.
// A relative path begins at `folder`. Open for reading and writing. No descriptor on failure.
FileDescriptor OpenNewFile(const std::string& path, mode_t mode, int& error, int folder = AT_FDCWD);

// Creates a file without a name, which vanishes when it is closed. Fails if NameFile could not name
// it.
FileDescriptor OpenNamelessFile(int folder, mode_t mode);

// Gives a nameless file its name. What stands in the place is EEXIST and is left alone.
bool NameFile(int fd, int folder, const std::string& name, int& error);

// Opens a file to write at its end, whoever else writes there too; creates one for its owner alone.
// Never blocks.
FileDescriptor OpenForAppending(const std::string& path);

// Opens a regular file and tells its size in bytes. Anything else is refused without blocking:
// EISDIR for a folder, EINVAL for a FIFO, a device or a socket.
FileDescriptor OpenRegularFileForReading(const std::string& path, uint64_t& size, int& error);

// Writes everything, or fails.
bool WriteAll(int fd, const void* data, size_t size, int& error);

// Whether the system accepted everything written, as closing would tell; the file stays open.
bool IsWritten(int fd, int& error);

// Reads until the buffer is full or the file ends; the number of bytes. Fewer than `size` with
// error 0 means that the file ended.
size_t ReadFull(int fd, void* buffer, size_t size, int& error);

}  // namespace kelo
