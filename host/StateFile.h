// What is kept between two runs: the session block with its signing secret, and the server's URL.
// Both lie in the user's state folder, readable by the user alone.
#pragma once

#include <filesystem>
#include <string>

#include "KELOAccess.h"

namespace kelo::host {

struct StoredSession {
  tagKELO_SessionInfo session{};
  std::string secret;  // at most 32 characters; the session block does not hold it
};

class StateFile {
 public:
  // In `folder`, by default $XDG_STATE_HOME/kelo or ~/.local/state/kelo.
  StateFile();
  explicit StateFile(std::filesystem::path folder);

  // Writes a temporary file of mode 0600 and renames it. Throws Failure.
  void Save(const StoredSession& stored) const;
  // Throws Failure, in words, when there is no session or the file is not what Save wrote.
  StoredSession Load() const;
  void Remove() const;

  // Points the library at a server for this run; an empty URL means the built-in one.
  void TryUrl(const std::string& url) const;
  // Remembers what was tried, for later runs.
  void KeepUrl(const std::string& url) const;
  // Points the library at the remembered server, unless the environment already names one.
  void ApplyUrl() const;

 private:
  std::filesystem::path folder_;
  std::filesystem::path SessionPath() const { return folder_ / "session"; }
  std::filesystem::path UrlPath() const { return folder_ / "server-urls"; }
  std::filesystem::path TriedPath() const { return folder_ / "server-urls.tried"; }
};

}  // namespace kelo::host
