// Downloads the files of a plan and tells what became of each.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/download/DownloadPlan.h"
#include "host/library/Library.h"
#include "host/memory/Memory.h"
#include "host/workers/Workers.h"

namespace kelo::host {

enum class FetchOutcome { kFetched, kHere, kFailed, kNotTried };

struct FetchedFile {
  PlannedDownload file;
  FetchOutcome outcome = FetchOutcome::kNotTried;
  std::uint64_t size = 0;    // bytes of a stored file
  std::string digest = {};   // of those, if there is a memory
  std::uint32_t code = 0;    // of a failure
  std::string problem = {};  // the words for `code`
};

struct FetchOptions {
  bool replace = false;      // get anew what is here
  bool dryRun = false;       // what would be got is kNotTried
  Memory* memory = nullptr;  // tells by bytes what is here; null: name and date tell it
  bool bytesOnly = false;    // leaves no file: what was learnt is the digest; needs the memory
};

// How many files that makes.
size_t CountToFetch(const DownloadPlan& plan, const FetchOptions& options);

// As many files at a time as there are workers; `report` hears of each when it is over, in the
// order of the plan. A file has its name only when it is whole and dated. After three failures in a
// row that are not the file's own (no connection, no space) no more are begun. After an abort
// only what was whole by then is still told. Throws Failure when the folder of the plan cannot be
// made.
void FetchPlan(Library& library, Workers& workers, DownloadPlan plan, const FetchOptions& options,
               const std::function<void(const FetchedFile&)>& report);

// A worker's side of it.
Message DoDownloadTask(Library& library, const Message& task, int folder,
                       const OnProgress& progress);

// The digest of the item's bytes, which arrive in `folder` and leave nothing there; empty: the
// service has none for it. Throws Error where they cannot be had.
std::string FetchDigest(Library& library, const std::string& id,
                        const std::filesystem::path& folder);

// The originals of `items` into `folder`, in their order, by this process alone.
std::vector<FetchedFile> Fetch(Library& library, const std::vector<Item>& items,
                               const std::filesystem::path& folder);

}  // namespace kelo::host
