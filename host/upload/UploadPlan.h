// In which portions an upload sends its files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/upload/LocalFiles.h"

namespace kelo::host {

// The service knows a file again by name, size and dates. Of files that agree in those, the first
// goes like any other.
enum class Twin {
  kNone,
  kCopy,  // the same bytes: goes when the first is stored, so that the check finds it
  kRival  // other bytes: goes unchecked when the first was stored just now
};

struct UploadPlan {
  // Files for one album; one request, that fails as a whole.
  struct Batch {
    AlbumName album;
    std::vector<LocalFile> files;
    Twin twin = Twin::kNone;  // of each of them
  };
  std::vector<Batch> batches;
  std::vector<RefusedFile> refused;
  LeftOutCounts leftOut;

  std::size_t FileCount() const;
};

struct PlanOptions {
  UploadFilter filter{};
  bool checked = true;  // the duplicate check is asked
  AlbumName album{};    // for all files
  bool albumsFromFolders = false;
};

// Bytes of a batch's files.
std::uint64_t SizeOf(const std::vector<LocalFile>& files);

// What the service's check compares, as far as it is known without opening the file.
std::string TwinKey(const LocalFile& file);

// The bounds of a batch; a single larger file is a batch of its own.
constexpr std::size_t kBatchFiles = 100;
constexpr std::uint64_t kBatchBytes = 64ull << 20;

// A sound memo stays with the picture of its name. With the check such a pair makes a batch of its
// own: the check never asks about memos and sends every memo of a batch of which any picture is
// new.
UploadPlan PlanUpload(const std::vector<std::string>& paths, const PlanOptions& options = {});

}  // namespace kelo::host
