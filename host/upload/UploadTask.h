// An upload request as a task for a worker, and what came of it.
#pragma once

#include "host/terminal/Progress.h"
#include "host/upload/UploadRequest.h"
#include "host/workers/Workers.h"

namespace kelo::host {

// The files are what is under way now.
void Announce(const Files& files, Progress::Part& progress);

// Performs the request by the lane's worker; the rest as Perform says. A worker that dies of it is
// told as a lost connection, since nobody knows what it had sent.
UploadAnswer PerformThere(Workers::Lane& lane, Library& library, const UploadRequest& request,
                          const OnProgress& progress, bool checkOnly, size_t other);

// The worker's side of it.
Message DoUploadTask(Library& library, const Message& task, int file, const OnProgress& progress);

}  // namespace kelo::host
