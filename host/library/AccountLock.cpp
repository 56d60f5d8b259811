// Takes the lock on an account, and writes into its file for people which run has it.
#include "host/library/AccountLock.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string_view>

#include "host/library/Digest.h"
#include "host/names/Dates.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

// "kelo put, since 2026-11-22 10:11, process 12 on anna", for people.
std::string AboutThisRun(const std::string& command) {
  char machine[256] = "";
  ::gethostname(machine, sizeof machine - 1);
  return fmt::format("kelo {}, since {}, process {} on {}", command,
                     DateText(UniversalDate(std::time(nullptr)), DateClock::kUniversal), ::getpid(),
                     machine);
}

void Write(const OwnedFile& file, const std::string& text) {
  if (::ftruncate(file.Number(), 0) == 0)
    static_cast<void>(!::pwrite(file.Number(), text.data(), text.size(), 0));
}

std::string HolderOf(const OwnedFile& file) {
  char text[512];
  const ssize_t size = ::pread(file.Number(), text, sizeof text, 0);
  return size <= 0 ? "another kelo" : Shown(std::string_view(text, static_cast<size_t>(size)));
}

OwnedFile OpenIn(const std::filesystem::path& folder, const std::string& name) {
  const OwnedFile open = OpenPrivateFolder(folder);
  return open ? OpenLockFile(open, name) : OwnedFile();
}

}  // namespace

std::string AccountOf(const std::string& url, const std::string& secretText) {
  return Sha256(url + '\n' + secretText).substr(0, 32);
}

AccountLock::AccountLock(Output& out, const std::filesystem::path& folder,
                         const std::string& account, const std::string& command, bool waits)
    : file_(OpenIn(folder, account)) {
  LockResult result = file_ ? Lock(file_, false) : LockResult::kNone;
  if (result == LockResult::kHeld) {
    const std::string holder = HolderOf(file_);
    if (!waits) throw Failure("another run changes this account: " + holder, kExitBusy);
    out.Note("waiting for another run that changes this account: " + holder);
    result = Lock(file_, true);
  }
  const int reason = errno;
  if (result == LockResult::kTaken)
    Write(file_, AboutThisRun(command));
  else
    out.Note(fmt::format("cannot lock {}: {}; another run may change the account at the same time",
                         Shown((folder / account).string()), std::strerror(reason)));
}

AccountLock::~AccountLock() {
  if (file_ && Lock(file_, false) == LockResult::kTaken) Write(file_, "");
}

}  // namespace kelo::host
