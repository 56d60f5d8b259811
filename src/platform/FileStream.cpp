// Files over POSIX. errno is read here and nowhere else.
#include "platform/FileStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace kelo {
namespace {

// The largest count that one read or write takes everywhere.
constexpr size_t kLargestStep = std::numeric_limits<int32_t>::max();

int Open(const std::string& path, int flags, mode_t mode, int& error) {
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
  } while (fd < 0 && errno == EINTR);
  error = fd < 0 ? errno : 0;
  return fd;
}

}  // namespace

int FileDescriptor::Close() {
  // Never repeated: after an interruption the descriptor is gone all the same.
  return fd_ >= 0 && ::close(std::exchange(fd_, -1)) != 0 && errno != EINTR ? errno : 0;
}

FileDescriptor OpenNewFile(const std::string& path, mode_t mode, int& error) {
  return FileDescriptor(Open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode, error));
}

FileDescriptor OpenForAppending(const std::string& path, mode_t mode, int& error) {
  return FileDescriptor(Open(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, mode, error));
}

FileDescriptor OpenRegularFileForReading(const std::string& path, uint64_t& size, int& error) {
  size = 0;
  // O_NONBLOCK: opening a FIFO that nobody writes to would wait for ever.
  FileDescriptor file(Open(path, O_RDONLY | O_NONBLOCK, 0, error));
  if (!file) {
    return file;
  }
  struct stat status;
  if (::fstat(file.Get(), &status) != 0) {
    error = errno;
    return {};
  }
  if (!S_ISREG(status.st_mode)) {
    error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return {};
  }
  size = static_cast<uint64_t>(status.st_size);
  return file;
}

bool WriteAll(int fd, const void* data, size_t size, int& error) {
  error = 0;
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = ::write(fd, next, std::min(size, kLargestStep));
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      error = written < 0 ? errno : EIO;
      return false;
    }
    next += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

ssize_t ReadSome(int fd, void* buffer, size_t size, int& error) {
  ssize_t got;
  do {
    got = ::read(fd, buffer, std::min(size, kLargestStep));
  } while (got < 0 && errno == EINTR);
  error = got < 0 ? errno : 0;
  return got;
}

size_t ReadFull(int fd, void* buffer, size_t size, int& error) {
  error = 0;
  size_t filled = 0;
  while (filled < size) {
    const ssize_t got = ReadSome(fd, static_cast<char*>(buffer) + filled, size - filled, error);
    if (got <= 0) {
      break;
    }
    filled += static_cast<size_t>(got);
  }
  return filled;
}

}  // namespace kelo
