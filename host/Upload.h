// Sends the batches of a plan and tells what became of each file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Library.h"
#include "UploadPlan.h"

namespace kelo::host {

enum class UploadOutcome {
  kStored,
  kAlreadyThere,
  kAlreadyInAlbum,
  kRefused,
  kNotConfirmed,
  kNotSent,
  kFailed
};

struct UploadedFile {
  LocalFile file;
  UploadOutcome outcome = UploadOutcome::kFailed;
  std::uint32_t code = 0;  // of a failure
  std::string itemId;      // where the service named one

  // The outcome in words.
  std::string Words() const;
  // Whether the service holds the file now.
  bool Held() const { return outcome <= UploadOutcome::kAlreadyInAlbum; }
};

struct UploadOptions {
  std::string album;  // id; empty: no album
  std::string tags;
  bool check = true;  // do not send what is stored already
};

// Sends batch after batch; `report` hears of each file when its batch is over. A batch with a file
// that has become unreadable is sent again without it; a failure that the next batch would meet
// too (no service, no session, storage full) ends the upload, the files left are kNotSent. Throws
// CommandFailure when aborted.
void SendPlan(Library& library, UploadPlan plan, const UploadOptions& options,
              const std::function<void(const UploadedFile&)>& report);

}  // namespace kelo::host
