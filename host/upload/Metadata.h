// Brings captions, ratings and keywords of files to their items, and tags to what was there
// already.
#pragma once

#include <string>

#include "host/library/Library.h"
#include "host/terminal/Output.h"
#include "host/upload/Plan.h"

namespace kelo::host {

struct WantedMetadata {
  bool ofPictures = false;  // what they say themselves
  std::string tags{};       // for items that were there already: new ones came with theirs
};

// For each file of the plan that the service holds, but not once more what was brought before. What
// fails costs only the metadata of its item, and is told; so are the sums. Whether all could be
// brought. May throw Error when it is aborted.
bool BringMetadata(Output& out, Library& library, Memory& memory, const UploadPlan& plan,
                   const WantedMetadata& wanted);

}  // namespace kelo::host
