// Temporary names and renaming.
#include "host/download/Arrival.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <string>
#include <string_view>

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".kelo-get-";

// Whether a file of that name was left by a process that is no more.
bool IsLeftover(const std::string& name) {
  if (!name.starts_with(kPrefix)) return false;
  pid_t process = 0;
  const char* const end = name.data() + name.size();
  const auto read = std::from_chars(name.data() + kPrefix.size(), end, process);
  return read.ec == std::errc() && read.ptr == end && process > 0 && ::kill(process, 0) != 0 &&
         errno == ESRCH;
}

int Rename(const char* from, const char* to) {
  return ::rename(from, to) == 0 ? 0 : errno;
}

// Not every file system has a renaming that spares what stands there, or links, which spare it too.
int MoveToFreePlace(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  if (::link(from, to) == 0) return ::unlink(from) == 0 ? 0 : errno;
  if (errno == EEXIST) return errno;
  struct stat status {};
  return ::lstat(to, &status) == 0 ? EEXIST : Rename(from, to);
}

// Without it a crash of the machine leaves what has its name and date and is empty, and nobody
// would fetch that again. Not every file system can.
int Sync(const char* path) {
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return errno;
  const int error = ::fsync(file) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
  ::close(file);
  return error;
}

}  // namespace

int PrepareFolder(const fs::path& folder) {
  std::error_code failed;
  fs::create_directories(folder, failed);
  if (failed) return failed.value();
  if (::access(folder.c_str(), W_OK | X_OK) != 0) return errno;
  for (fs::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
    std::error_code ignored;
    if (IsLeftover(at->path().filename().string())) fs::remove(at->path(), ignored);
  }
  return 0;
}

fs::path ArrivalIn(const fs::path& folder) {
  fs::path path = folder / fmt::format("{}{}", kPrefix, ::getpid());
  std::error_code ignored;
  fs::remove(path, ignored);
  return path;
}

int Settle(const fs::path& arrived, const fs::path& path, std::optional<std::time_t> modified,
           bool replace) {
  if (modified) {
    const timespec times[] = {{0, UTIME_OMIT}, {*modified, 0}};
    ::utimensat(AT_FDCWD, arrived.c_str(), times, 0);
  }
  int error = Sync(arrived.c_str());
  if (error == 0) error = (replace ? Rename : MoveToFreePlace)(arrived.c_str(), path.c_str());
  if (error != 0) ::unlink(arrived.c_str());
  return error;
}

}  // namespace kelo::host
