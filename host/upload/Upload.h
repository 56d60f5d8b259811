// Sends the batches of a plan and tells what became of each file.
#pragma once

#include <functional>

#include "host/library/Library.h"
#include "host/upload/UploadAttempt.h"
#include "host/upload/UploadPlan.h"

namespace kelo::host {

// Sends batch after batch; `report` hears of each file once.
//
// What a batch fails by costs as little as possible. A file that can no longer be read is left out.
// What may pass is tried again, with the check, since nobody knows what became of the first try.
// When the storage is full, what still fits is sent. A batch that fails otherwise is halved until
// the bad file stands alone. A failure that the next batch would meet too (no service, no session)
// ends the upload; the files left are kNotSent, as are those whose album cannot be had. Files that
// the service holds already are placed in the album.
//
// In a dry run kStored and kPlaced are what would be. Throws CommandFailure when aborted.
void SendPlan(Library& library, UploadPlan plan, const UploadOptions& options,
              const std::function<void(const UploadedFile&)>& report);

}  // namespace kelo::host
