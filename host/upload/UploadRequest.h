// One upload command, and what it tells about each file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/library/Library.h"
#include "host/terminal/Progress.h"
#include "host/upload/UploadedFile.h"

namespace kelo::host {

struct FileAnswer {
  // Whether the answer is the file's own; otherwise the command failed before it.
  bool decided = false;
  UploadOutcome outcome = UploadOutcome::kFailed;
  std::uint32_t code = 0;  // of a failure
  std::string itemId;      // where the service named one
};

struct UploadRequest {
  std::string album{};  // id; empty: no album
  std::string tags{};
  bool check = true;       // do not send what is stored already
  bool checkOnly = false;  // and do not send the others either: they are left undecided
  std::size_t other = 0;   // ask by the n-th of the names behind the file's; with checkOnly alone
};

struct UploadAnswer {
  std::uint32_t result = 0;
  // The files were checked, or went without a check: some may be stored even if `result` tells of
  // a failure.
  bool checked = false;
  // The same may work if it is tried again.
  bool mayPass = false;
  std::vector<FileAnswer> files;
};

// `progress` may be null.
UploadAnswer Perform(Library& library, const UploadRequest& request,
                     const std::vector<LocalFile>& files, Progress* progress);

}  // namespace kelo::host
