// Sends the requests of a plan and decides the outcome of each file.
#pragma once

#include <functional>
#include <string>

#include "host/library/Library.h"
#include "host/upload/Plan.h"
#include "host/upload/Recognition.h"
#include "host/workers/Workers.h"

namespace kelo::host {

struct SendOptions {
  // The id of the album that a request's files go to; empty: there is none yet. Called before they
  // are sent, where they have an album. May throw Error.
  std::function<std::string(const AlbumName&)> albumId;
  Recognition& recognition;
  std::string tags;
  bool dryRun = false;  // ask the check, and change nothing
};

// Sends the requests, as many at a time as there are workers. `report` hears of each file once,
// when its outcome is known, in the order of the plan. Duplicates go when the files that they may
// be the same as have gone.
//
// What a request fails by costs as little as possible. A file that can no longer be read is left
// out. What may pass is tried again, behind the check or a look into the account, since nobody
// knows what became of the first try. When the storage is full, what still fits is sent. A request
// that fails otherwise is halved until the bad file stands alone. A failure that the next request
// would meet too (no service, no session) ends the upload; the files left are kNotSent, as are
// those whose album cannot be had. Files that the service holds already are placed in the album.
// Those that it takes for an item with other bytes are sent as new ones.
//
// In a dry run kStored and kPlaced are what would be. Throws Error when aborted.
void SendFiles(Library& library, Workers& workers, const UploadPlan& plan,
               const SendOptions& options, const std::function<void(const File&)>& report);

}  // namespace kelo::host
