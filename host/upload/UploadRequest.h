// One upload command for a few files, whose answer is written into them.
#pragma once

#include <string>

#include "host/library/Library.h"
#include "host/upload/File.h"

namespace kelo::host {

// Files for one album, that fail together.
struct UploadRequest {
  Files files;
  bool check = true;       // do not send what is stored already
  bool searching = false;  // for the file that a larger request failed by
  std::string albumId{};   // empty: none, or one that is not made yet
  std::string tags{};
};

struct UploadAnswer {
  std::uint32_t code = 0;
  bool mayPass = false;  // trying again may work
};

// Sends the files, or with `checkOnly` asks about them and leaves those undecided that it would
// send. What the service decided about a file is its outcome; a file that the command did not come
// to stays undecided. `other`: asks by the n-th of a file's NamesBehind; 0: by its name.
UploadAnswer Perform(Library& library, const UploadRequest& request,
                     const OnProgress& progress = {}, bool checkOnly = false, size_t other = 0);

// After so many failures in a row the cause is not the files.
constexpr unsigned kMaxFailuresInARow = 5;
// Whether the next request would meet the same failure: asks whether the service is there at all.
// Throws Error when aborted.
bool IsHopeless(Library& library, std::uint32_t result);

// Places those of the files in the request's album that the service holds elsewhere.
void Place(Library& library, const UploadRequest& request, const Files& files, bool dryRun);

}  // namespace kelo::host
