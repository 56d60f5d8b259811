// What is kept between two runs: the session block with its signing secret, the server's URL, and
// the credentials where that is wished. All lie in the user's state folder, in a folder for each
// profile; a file that others may read or change is refused.
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

// Whether a profile may have this name: one harmless path component.
bool IsProfileName(const std::string& name);

class StateFile {
 public:
  // In $XDG_STATE_HOME/kelo or ~/.local/state/kelo; a profile with a name in a folder below.
  static StateFile OfProfile(const std::string& profile);
  explicit StateFile(std::filesystem::path folder);

  // Writes a temporary file of mode 0600 and renames it. Throws Failure.
  void Save(const StoredSession& stored) const;
  // Throws Failure, in words, when there is no session or the file is not what Save wrote.
  StoredSession Load() const;

  // The same for the credentials; nothing when none are kept.
  void Remember(const Credentials& credentials) const;
  std::optional<Credentials> Remembered() const;

  // Forgets session and credentials.
  void Remove() const;
  void ForgetCredentials() const;

  // Points the library at a server for this run; an empty URL means the built-in one.
  void TryUrl(const std::string& url) const;
  // Remembers what was tried, for later runs, or leaves nothing of it.
  void KeepUrl(const std::string& url) const;
  void ForgetTriedUrl() const;
  // Points the library at the remembered server, unless the environment already names one.
  void ApplyUrl() const;

 private:
  std::filesystem::path folder_;
  std::filesystem::path SessionPath() const { return folder_ / "session"; }
  std::filesystem::path CredentialsPath() const { return folder_ / "credentials"; }
  std::filesystem::path UrlPath() const { return folder_ / "server-urls"; }
  std::filesystem::path TriedPath() const;  // of this run alone
};

}  // namespace kelo::host
