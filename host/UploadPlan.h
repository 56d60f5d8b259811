// Which local files an upload sends, and in which portions.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Pictures.h"

namespace kelo::host {

struct UploadPlan {
  using Batch = std::vector<LocalFile>;
  std::vector<Batch> batches;
  std::vector<std::string> refused;  // sentences: what is not sent, and why
  std::size_t FileCount() const;
};

// Bytes of a batch.
std::uint64_t BatchSize(const UploadPlan::Batch& batch);

// One batch is one request, and one request fails as a whole: hence the bounds. A single larger
// file is a batch of its own.
constexpr std::size_t kBatchFiles = 100;
constexpr std::uint64_t kBatchBytes = 64ull << 20;

// Files as given, folders walked to the bottom in the order of names, hidden files left out, a file
// named twice taken once. A sound memo stays with the picture of its name. With `checked` such a
// pair makes a batch of its own: the duplicate check never asks about memos and sends every memo of
// a batch of which any picture is new.
UploadPlan PlanUpload(const std::vector<std::string>& paths, bool checked);

}  // namespace kelo::host
