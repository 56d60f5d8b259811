// Creates, locks, finishes and renames the arriving file, all by descriptors.
#include "host/download/Arrival.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/library/Digest.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".kelo-get-";
constexpr std::string_view kLockEnd = ".lock";

void Check(bool good) {
  if (!good) throw std::system_error(errno, std::generic_category());
}

OwnedFile OpenFolder(const fs::path& path) {
  fs::create_directories(path);
  OwnedFile folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  Check(static_cast<bool>(folder));
  return folder;
}

// The arriving file that a lock file is of; empty where it is none.
std::string_view NameOfLock(std::string_view name) {
  if (!name.starts_with(kPrefix) || !name.ends_with(kLockEnd)) return {};
  name.remove_suffix(kLockEnd.size());
  return IsRandomName(name.substr(kPrefix.size())) ? name : std::string_view();
}

std::string LockOf(std::string_view name) {
  return fmt::format("{}{}", name, kLockEnd);
}

std::vector<std::string> NamesLockedIn(const OwnedFile& folder) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> list(
      ::fdopendir(::openat(folder.Number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), ::closedir);
  if (list == nullptr) return names;
  while (const dirent* entry = ::readdir(list.get()))
    if (const auto name = NameOfLock(entry->d_name); !name.empty()) names.emplace_back(name);
  return names;
}

// A lock that can be taken belongs to a run that has ended.
void RemoveLeftovers(const OwnedFile& folder) {
  for (const std::string& name : NamesLockedIn(folder)) {
    const std::string lockName = LockOf(name);
    const OwnedFile lock(
        ::openat(folder.Number(), lockName.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!lock || Lock(lock, false) != LockResult::kTaken) continue;
    ::unlinkat(folder.Number(), name.c_str(), 0);
    ::unlinkat(folder.Number(), lockName.c_str(), 0);
  }
}

}  // namespace

fs::path PathOf(int folder, const fs::path& path) {
  // Linux's: /proc/self/fd.
  fs::path open = fmt::format("/proc/self/fd/{}", folder);
  return ::access(open.c_str(), W_OK) == 0 ? open : path;
}

Arrival::Arrival(const fs::path& folder) : folder_(OpenFolder(folder)) {
  RemoveLeftovers(folder_);
  TakeName();
}

Arrival::~Arrival() {
  Clear();
  ::unlinkat(folder_.Number(), LockOf(name_).c_str(), 0);
}

void Arrival::TakeName() {
  for (;;) {
    name_ = fmt::format("{}{}", kPrefix, RandomName());
    lock_ = OpenLockFile(folder_, LockOf(name_));
    Check(static_cast<bool>(lock_));
    const LockResult result = Lock(lock_, false);
    struct stat status {};
    if (result == LockResult::kNone) return;
    // Another run may have taken the new file for a leftover before it was locked.
    if (result == LockResult::kTaken && ::fstat(lock_.Number(), &status) == 0 &&
        status.st_nlink > 0)
      return;
  }
}

bool Arrival::IsMessage() const {
  const OwnedFile file(
      ::openat(folder_.Number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  char beginning[128];
  const ssize_t count = file ? ::read(file.Number(), beginning, sizeof beginning) : 0;
  const std::string_view text(beginning, static_cast<size_t>(std::max<ssize_t>(count, 0)));
  return text.find("<?protocol version=\"KELO-API") != text.npos;
}

void Arrival::Clear() const {
  ::unlinkat(folder_.Number(), name_.c_str(), 0);
}

std::string Arrival::TakeDigest() const {
  const OwnedFile file(
      ::openat(folder_.Number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  Clear();
  return Sha256OfFile(file);
}

int Arrival::ClearUnless(int error) const {
  if (error != 0) Clear();
  return error;
}

int Arrival::Finish(std::optional<std::time_t> modified) {
  return ClearUnless(DateAndSync(modified));
}

int Arrival::Settle(const std::string& name, bool replace) {
  return ClearUnless(replace ? Move(name) : MoveToFreePlace(name));
}

int Arrival::DateAndSync(std::optional<std::time_t> modified) {
  const OwnedFile file(
      ::openat(folder_.Number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.Number(), &status) != 0) return errno;
  size_ = static_cast<std::uint64_t>(status.st_size);
  if (modified) {
    const timespec times[] = {{0, UTIME_OMIT}, {*modified, 0}};
    ::futimens(file.Number(), times);
  }
  // Without fsync, a crash of the machine could leave an empty file with name and date, which no
  // later run would fetch again. Not every file system has it.
  return ::fsync(file.Number()) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

int Arrival::Move(const std::string& name) const {
  return ::renameat(folder_.Number(), name_.c_str(), folder_.Number(), name.c_str()) == 0 ? 0
                                                                                          : errno;
}

// Neither renameat2 nor linkat replaces a file, but not every file system has them.
int Arrival::MoveToFreePlace(const std::string& name) const {
  const int folder = folder_.Number();
  // Linux's: renameat2.
  if (::renameat2(folder, name_.c_str(), folder, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  if (::linkat(folder, name_.c_str(), folder, name.c_str(), 0) == 0)
    return ::unlinkat(folder, name_.c_str(), 0) == 0 ? 0 : errno;
  if (errno == EEXIST) return errno;
  // An empty file of ours takes the place. No run takes it for the picture, whose date it lacks.
  const OwnedFile place(
      ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!place) return errno;
  const int error = Move(name);
  if (error != 0) ::unlinkat(folder, name.c_str(), 0);
  return error;
}

}  // namespace kelo::host
