// One run at a time changes an account. Two at once might both find an album missing, and make it
// twice. The lock is a file in the state folder, one for each account, whatever the profile.
#pragma once

#include <filesystem>
#include <string>

#include "host/library/FileLock.h"
#include "host/terminal/Output.h"

namespace kelo::host {

// Tells accounts apart in file names, by what a login knows of them: the service and a text that
// only this account has. Gives nothing of the text away.
std::string AccountOf(const std::string& url, const std::string& secretText);

class AccountLock {
 public:
  // Waits while another run has it, and says for whom; unless `waits` throws Failure with
  // kExitBusy. Where there can be no lock, that is told and the run goes on without. `command` is
  // what others are told of this run. The folder is made if need be.
  AccountLock(Output& out, const std::filesystem::path& folder, const std::string& account,
              const std::string& command, bool waits);
  ~AccountLock();
  AccountLock(const AccountLock&) = delete;
  AccountLock& operator=(const AccountLock&) = delete;

 private:
  OwnedFile file_;
};

}  // namespace kelo::host
