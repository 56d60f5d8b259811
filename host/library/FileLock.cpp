// Locks files by flock, and makes names that nobody can guess from the system's random numbers.
#include "host/library/FileLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "host/names/Failure.h"

namespace kelo::host {
namespace {

constexpr size_t kRandomBytes = 16;

}  // namespace

LockResult Lock(const OwnedFile& file, bool wait) {
  int failed;
  do {
    failed = ::flock(file.Number(), wait ? LOCK_EX : LOCK_EX | LOCK_NB);
  } while (failed != 0 && errno == EINTR);
  if (failed == 0) return LockResult::kTaken;
  return errno == EWOULDBLOCK ? LockResult::kHeld : LockResult::kNone;
}

OwnedFile OpenPrivateFolder(const std::filesystem::path& folder) {
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  OwnedFile open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (open) ::fchmod(open.Number(), S_IRWXU);
  return open;
}

OwnedFile OpenLockFile(const OwnedFile& folder, const std::string& name) {
  // File systems of networks lock for writers only.
  return OwnedFile(::openat(folder.Number(), name.c_str(),
                            O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
}

std::string RandomName() {
  unsigned char bytes[kRandomBytes];
  if (::getentropy(bytes, sizeof bytes) != 0)
    throw Failure(fmt::format("the system gives no random numbers: {}", std::strerror(errno)));
  std::string name;
  for (const unsigned char byte : bytes) name += fmt::format("{:02x}", byte);
  return name;
}

bool IsRandomName(std::string_view name) {
  return name.size() == 2 * kRandomBytes &&
         name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace kelo::host
