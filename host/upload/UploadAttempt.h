// One try to send a part of an upload, and the report of what became of each file.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/library/Library.h"
#include "host/terminal/Progress.h"
#include "host/upload/UploadPlan.h"
#include "host/upload/UploadedFile.h"

namespace kelo::host {

struct UploadOptions {
  // The id of the album that a batch goes to; empty: there is none yet. Called before a batch is
  // sent, where it has an album. May throw CommandFailure.
  std::function<std::string(const AlbumName&)> albumId;
  std::string tags;
  bool check = true;    // do not send what is stored already
  bool dryRun = false;  // ask the check, and change nothing
};

// What is left to send of a batch.
struct Portion {
  std::vector<LocalFile> files;
  AlbumName name{};
  std::string album{};  // its id; empty: none
  bool check = true;
  bool searching = false;  // for the file that a larger portion failed by
  bool maybeSent = false;  // it passed the check as new before, and has left since
};

class UploadAttempts {
 public:
  // `report` hears of each file once. All must outlive the object.
  UploadAttempts(Library& library, const UploadPlan& plan, const UploadOptions& options,
                 const std::function<void(const UploadedFile&)>& report);

  struct Result {
    std::uint32_t code;
    bool mayPass;  // trying again may help
  };
  // Sends the portion, or only asks the check about it. What is decided by that leaves the portion
  // and is reported; what the service holds already is placed in the album before. Throws
  // CommandFailure when aborted.
  Result Send(Portion& portion) { return Try(portion, false); }
  // `other`: not by its name, but by the n-th of those behind it.
  Result Ask(Portion& portion, std::size_t other = 0) { return Try(portion, true, other); }

  void Report(const UploadedFile& file);
  void Report(const Portion& portion, UploadOutcome outcome, std::uint32_t code);

  // Files that were reported as stored, and whether one like this is among them.
  std::size_t Stored() const { return stored_; }
  bool HasStoredTwinOf(const LocalFile& file) const { return twins_.contains(TwinKey(file)); }
  // Files that the service is known to hold.
  std::size_t Held() const { return held_; }

 private:
  Result Try(Portion& portion, bool checkOnly, std::size_t other = 0);
  void Announce(const std::vector<LocalFile>& files);
  void Place(const Portion& portion, std::vector<UploadedFile>& files);

  Library& library_;
  const UploadOptions& options_;
  const std::function<void(const UploadedFile&)>& report_;
  std::optional<Progress> progress_;  // none in a dry run
  std::size_t stored_ = 0;
  std::unordered_set<std::string> twins_;  // the keys of what was stored
  std::size_t held_ = 0;
};

}  // namespace kelo::host
