// The calls with their switches.
#include "http/FaultyFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace kelo {
namespace {

std::atomic<int> writeError = 0;
std::atomic<int> closeError = 0;
std::atomic<std::size_t> bytesLeft = 0;
std::atomic<bool> hollow = false;
std::atomic<int> refusals[RefusedCalls::kNumberOfCalls];

bool IsRegular(int fd) {
  struct stat status;
  return fstatat(fd, "", &status, AT_EMPTY_PATH) == 0 && S_ISREG(status.st_mode);
}

bool IsRefused(RefusedCalls::Call call) {
  const int error = refusals[call];
  if (error != 0) errno = error;
  return error != 0;
}

bool MayWrite(int fd, std::size_t size) {
  if (writeError == 0 || !IsRegular(fd)) return true;
  if (bytesLeft < size) return false;
  bytesLeft -= size;
  return true;
}

bool AreZeros(const void* data, std::size_t size) {
  const char* const bytes = static_cast<const char*>(data);
  return size > 0 && bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

bool MakeHole(int fd, std::size_t size) {
  return ftruncate(fd, lseek(fd, static_cast<off_t>(size), SEEK_CUR)) == 0;
}

}  // namespace

FaultyFiles::FaultyFiles(int error, std::size_t bytesBefore, bool onClose) {
  bytesLeft = bytesBefore;
  (onClose ? closeError : writeError) = error;
}

FaultyFiles::~FaultyFiles() {
  writeError = closeError = 0;
}

HollowFiles::HollowFiles() {
  hollow = true;
}

HollowFiles::~HollowFiles() {
  hollow = false;
}

RefusedCalls::RefusedCalls(Call call, int error) : call_(call) {
  refusals[call] = error;
}

RefusedCalls::~RefusedCalls() {
  refusals[call_] = 0;
}

}  // namespace kelo

using namespace kelo;

// In the namespace of the declarations, which may give them other names for the linker.
#define KELO_REPLACES extern "C" __attribute__((visibility("default")))

KELO_REPLACES ssize_t write(int fd, const void* data, size_t size) {
  if (hollow && IsRegular(fd) && AreZeros(data, size))
    return MakeHole(fd, size) ? static_cast<ssize_t>(size) : -1;
  if (MayWrite(fd, size)) return syscall(SYS_write, fd, data, size);
  errno = writeError;
  return -1;
}

KELO_REPLACES int close(int fd) {
  const int error = closeError != 0 && IsRegular(fd) ? closeError.load() : 0;
  const int result = static_cast<int>(syscall(SYS_close, fd));
  if (error == 0) return result;
  errno = error;
  return -1;
}

KELO_REPLACES int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  if ((flags & O_TMPFILE) == O_TMPFILE && IsRefused(RefusedCalls::kNamelessFile)) return -1;
  return static_cast<int>(syscall(SYS_openat, folder, path, flags | O_LARGEFILE, mode));
}

KELO_REPLACES int linkat(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
                         int flags) noexcept {
  if (IsRefused(RefusedCalls::kLink)) return -1;
  return static_cast<int>(syscall(SYS_linkat, oldFolder, oldPath, newFolder, newPath, flags));
}

KELO_REPLACES int fstat(int fd, struct stat* status) noexcept {
  return IsRefused(RefusedCalls::kStat) ? -1 : fstatat(fd, "", status, AT_EMPTY_PATH);
}
