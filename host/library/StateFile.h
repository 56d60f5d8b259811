// What is kept between two runs: the session block with its signing secret, the server's URL, and
// the credentials where that is wished, all in one file, so that they always belong together. It
// lies in the user's state folder, in a folder for each profile; one that others may read or change
// is refused.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/library/Library.h"

namespace kelo::host {

struct StoredSession {
  Session session{};
  std::string secret;  // at most 32 characters; the session block does not hold it
};

struct Kept {
  std::string url;                           // of the server; empty: the built-in one
  std::string account;                       // of the session, for AccountLock
  std::optional<StoredSession> session;      // none before a login and after a logout
  std::optional<Credentials> credentials{};  // where login was to remember them
};

// Whether a profile may have this name: one harmless path component.
bool IsProfileName(const std::string& name);

class StateFile {
 public:
  // In $XDG_STATE_HOME/kelo or ~/.local/state/kelo; a profile with a name in a folder below.
  static StateFile OfProfile(const std::string& profile);
  // The folder of the locks on accounts, the same for all profiles.
  static std::filesystem::path LockFolder();
  // That of what is remembered of accounts.
  static std::filesystem::path MemoryFolder();
  explicit StateFile(std::filesystem::path folder);

  // What Save wrote last, whole, or what earlier versions wrote; empty where there is nothing.
  // Throws Failure, in words, when it is neither, or not the user's alone.
  Kept Load() const;
  // Puts a file of mode 0600 in the place of the former one. Throws Failure.
  void Save(const Kept& kept) const;
  // The same, unless another run has saved something else since `former` was loaded.
  void Replace(const Kept& former, const Kept& kept) const;

 private:
  class Writing;
  void Put(const Writing& writing, const Kept& kept) const;
  Kept LoadFormer(std::optional<StoredSession> session) const;

  std::filesystem::path folder_;
  std::filesystem::path SessionPath() const { return folder_ / "session"; }
  // Of earlier versions.
  std::filesystem::path CredentialsPath() const { return folder_ / "credentials"; }
  std::filesystem::path UrlPath() const { return folder_ / "server-urls"; }
};

// Points the library at a server for this run; an empty URL means the built-in one. Throws Failure.
void UseServer(const std::string& url);
// The same with the server that is kept, unless the environment names one.
void UseKeptServer(const Kept& kept);

}  // namespace kelo::host
