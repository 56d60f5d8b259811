// Opens, reads, writes, names and closes files through the calls of POSIX.
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
constexpr size_t kMaxStep = std::numeric_limits<int32_t>::max();

// What it takes to open files in a folder, which need not be readable.
#if defined(O_PATH)
constexpr int kFolderFlags = O_DIRECTORY | O_PATH;
#elif defined(O_SEARCH)
constexpr int kFolderFlags = O_DIRECTORY | O_SEARCH;
#else
constexpr int kFolderFlags = O_DIRECTORY | O_RDONLY;
#endif

// A file may be larger than 2 GiB whatever the width of a pointer.
static_assert(sizeof(off_t) == 8);

FileDescriptor Open(const std::string& path, int flags, mode_t mode, int& error,
                    int folder = AT_FDCWD) {
  int fd;
  do {
    fd = ::openat(folder, path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
  } while (fd < 0 && errno == EINTR);
  error = fd < 0 ? errno : 0;
  return FileDescriptor(fd);
}

#if defined(O_TMPFILE)
// The name under which the system shows an open file. Linking a descriptor itself would take a
// privilege.
std::string LinkToOpenFile(int fd) {
  return "/proc/self/fd/" + std::to_string(fd);
}
#endif

}  // namespace

int FileDescriptor::Close() {
  // Never repeated: after an interruption the descriptor is gone all the same.
  return fd_ >= 0 && ::close(std::exchange(fd_, -1)) != 0 && errno != EINTR ? errno : 0;
}

FileDescriptor OpenFolder(const std::string& path) {
  int error = 0;
  return Open(path, kFolderFlags, 0, error);
}

FileDescriptor OpenNewFile(const std::string& path, mode_t mode, int& error, int folder) {
  return Open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode, error, folder);
}

#if defined(O_TMPFILE)

FileDescriptor OpenNamelessFile(int folder, mode_t mode) {
  int error = 0;
  FileDescriptor file = Open(".", O_RDWR | O_TMPFILE, mode, error, folder);
  // Without /proc it could never be named.
  if (file && ::access(LinkToOpenFile(file.Get()).c_str(), F_OK) != 0) return {};
  return file;
}

bool NameFile(int fd, int folder, const std::string& name, int& error) {
  const std::string link = LinkToOpenFile(fd);
  const bool named = ::linkat(AT_FDCWD, link.c_str(), folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
  error = named ? 0 : errno;
  return named;
}

#else

FileDescriptor OpenNamelessFile(int, mode_t) {
  return {};
}

bool NameFile(int, int, const std::string&, int& error) {
  error = EOPNOTSUPP;
  return false;
}

#endif

FileDescriptor OpenForAppending(const std::string& path) {
  int error = 0;
  return Open(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, 0600, error);
}

FileDescriptor OpenRegularFileForReading(const std::string& path, uint64_t& size, int& error) {
  size = 0;
  // O_NONBLOCK: opening a FIFO that nobody writes to would wait for ever.
  FileDescriptor file = Open(path, O_RDONLY | O_NONBLOCK, 0, error);
  if (!file) return file;
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
    const ssize_t written = ::write(fd, next, std::min(size, kMaxStep));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error = written < 0 ? errno : EIO;
      return false;
    }
    next += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

bool IsWritten(int fd, int& error) {
  // Closing any descriptor of the file has the same report made.
  error = FileDescriptor(::fcntl(fd, F_DUPFD_CLOEXEC, 0)).Close();
  return error == 0;
}

size_t ReadFull(int fd, void* buffer, size_t size, int& error) {
  error = 0;
  size_t filled = 0;
  while (filled < size) {
    char* const next = static_cast<char*>(buffer) + filled;
    const ssize_t got = ::read(fd, next, std::min(size - filled, kMaxStep));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error = errno;
    if (got <= 0) break;
    filled += static_cast<size_t>(got);
  }
  return filled;
}

}  // namespace kelo
