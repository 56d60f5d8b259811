// Decides which files go together in one request, and which cannot go.
#pragma once

#include <vector>

#include "host/upload/UploadRequest.h"

namespace kelo::host {

struct UploadPlan {
  std::vector<UploadRequest> requests;  // in the order in which they are sent
  Files files;  // of the requests, in the order in which they are told, however requests are cut
  Files unfit;  // or unreadable
};

// The bounds of a request; a single larger file has one of its own.
constexpr size_t kRequestFiles = 100;
constexpr std::uint64_t kRequestBytes = 64ull << 20;
// Requests beside others become as small as it takes for all lanes to have the same to do, but no
// smaller than this: a request costs some round trips.
constexpr std::uint64_t kLeastBytes = 2ull << 20;

// Points to the files, which must stay where they are. `check`: the service is asked which files it
// holds; copies are marked then, and go when all others have gone. `lanes`: so many requests go at
// a time.
//
// A voice memo goes with the picture of its name, behind it.
UploadPlan PlanUpload(std::vector<File>& files, bool check, unsigned lanes = 1);

}  // namespace kelo::host
