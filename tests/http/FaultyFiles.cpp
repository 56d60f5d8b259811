// write and close with a switch.
#include "http/FaultyFiles.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace kelo {
namespace {

std::atomic<int> writeError = 0;
std::atomic<int> closeError = 0;
std::atomic<std::size_t> bytesLeft = 0;

bool IsRegular(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

bool MayWrite(int fd, std::size_t size) {
  if (writeError == 0 || !IsRegular(fd)) return true;
  if (bytesLeft < size) return false;
  bytesLeft -= size;
  return true;
}

}  // namespace

FaultyFiles::FaultyFiles(int error, std::size_t bytesBefore, bool onClose) {
  bytesLeft = bytesBefore;
  (onClose ? closeError : writeError) = error;
}

FaultyFiles::~FaultyFiles() {
  writeError = closeError = 0;
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int fd, const void* data,
                                                                size_t size) {
  if (MayWrite(fd, size)) return syscall(SYS_write, fd, data, size);
  errno = writeError;
  return -1;
}

extern "C" __attribute__((visibility("default"))) int close(int fd) {
  const int error = closeError != 0 && IsRegular(fd) ? closeError.load() : 0;
  const int result = static_cast<int>(syscall(SYS_close, fd));
  if (error == 0) return result;
  errno = error;
  return -1;
}

}  // namespace kelo
