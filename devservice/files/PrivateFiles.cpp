// An exclusive lock on a file in the folder keeps others out of it; it ends with the process.
#include "devservice/files/PrivateFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLockName = "service.lock";

[[noreturn]] void Fail(const char* what, const fs::path& path) {
  throw std::system_error(errno, std::generic_category(),
                          std::string("cannot ") + what + " " + path.string());
}

Descriptor OpenPrivate(const fs::path& file) {
  Descriptor opened(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
  struct stat status {};
  // A device, or a pipe, is not this program's own.
  const bool good = opened.Get() >= 0 && fstat(opened.Get(), &status) == 0 &&
                    (!S_ISREG(status.st_mode) || fchmod(opened.Get(), S_IRUSR | S_IWUSR) == 0);
  if (!good) Fail("create", file);
  return opened;
}

}  // namespace

void MakePrivateFolder(const fs::path& folder) {
  if (fs::is_directory(folder)) return;
  const fs::path parent = fs::absolute(folder).lexically_normal().parent_path();
  if (parent != folder) MakePrivateFolder(parent);
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && !fs::is_directory(folder)) Fail("create", folder);
}

void MakePrivateFile(const fs::path& file) {
  OpenPrivate(file);
}

Descriptor LockFolder(const fs::path& folder) {
  Descriptor lock = OpenPrivate(folder / kLockName);
  if (flock(lock.Get(), LOCK_EX | LOCK_NB) == 0) return lock;
  if (errno == EWOULDBLOCK)
    throw std::runtime_error("another service uses the folder " + folder.string() +
                             "; stop it, or give another --data");
  Fail("lock", folder);
}

}  // namespace kelo::devservice
