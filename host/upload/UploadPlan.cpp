// Pairing, twins, and cutting into batches.
#include "host/upload/UploadPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <unordered_map>
#include <utility>

#include "host/upload/SameContent.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

// What must not be divided: a picture with its memos, or one file.
struct Unit {
  std::vector<LocalFile> files;
  AlbumName album;
  Twin twin = Twin::kNone;
};

// "IMG_1.JPG" and "img_1.wav" of one folder belong together.
std::string PairKey(const fs::path& path) {
  std::string stem = path.stem().string();
  std::transform(stem.begin(), stem.end(), stem.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return (path.parent_path() / stem).string();
}

std::vector<Unit> PairUp(std::vector<FoundFile> files, bool checked, UploadPlan& plan) {
  const auto memos = std::stable_partition(files.begin(), files.end(), [](const FoundFile& file) {
    return !IsSoundMemo(file.facts.path);
  });
  std::vector<Unit> units;
  units.reserve(files.size());
  std::unordered_map<std::string, std::size_t> pictures;
  for (auto picture = files.begin(); picture != memos; ++picture) {
    if (memos != files.end()) pictures.emplace(PairKey(picture->facts.path), units.size());
    units.emplace_back().album = std::move(picture->album);
    units.back().files.push_back(std::move(picture->facts));
  }
  for (auto memo = memos; memo != files.end(); ++memo) {
    const auto found = pictures.find(PairKey(memo->facts.path));
    if (found != pictures.end()) {
      units[found->second].files.push_back(std::move(memo->facts));
    } else if (!checked) {
      units.push_back({{std::move(memo->facts)}, std::move(memo->album)});
    } else {
      plan.refused.push_back(
          {memo->facts.path,
           "a sound memo goes with the picture of its name; --force sends it alone"});
    }
  }
  return units;
}

void MarkTwins(std::vector<Unit>& units) {
  std::unordered_map<std::string, const LocalFile*> firsts;
  firsts.reserve(units.size());
  for (Unit& unit : units) {
    const LocalFile& file = unit.files.front();
    const auto [first, isFirst] = firsts.emplace(TwinKey(file), &file);
    if (!isFirst)
      unit.twin = SameContent(first->second->path, file.path) ? Twin::kCopy : Twin::kRival;
  }
}

class Batcher {
 public:
  explicit Batcher(std::vector<UploadPlan::Batch>& batches) : batches_(batches) {}

  void Add(Unit unit, bool alone) {
    if (alone) {
      batches_.push_back({std::move(unit.album), std::move(unit.files), unit.twin});
      return;
    }
    Open& open = open_[unit.album];
    const std::uint64_t size = SizeOf(unit.files);
    const bool fits =
        open.files + unit.files.size() <= kBatchFiles && open.bytes + size <= kBatchBytes;
    if (open.files == 0 || !fits) {
      open = {.batch = batches_.size()};
      batches_.push_back({std::move(unit.album), {}, unit.twin});
    }
    open.files += unit.files.size();
    open.bytes += size;
    std::move(unit.files.begin(), unit.files.end(), std::back_inserter(batches_[open.batch].files));
  }

 private:
  struct Open {
    std::size_t batch = 0;
    std::size_t files = 0;
    std::uint64_t bytes = 0;
  };
  std::vector<UploadPlan::Batch>& batches_;
  std::map<AlbumName, Open> open_;
};

}  // namespace

std::size_t UploadPlan::FileCount() const {
  std::size_t count = 0;
  for (const Batch& batch : batches) count += batch.files.size();
  return count;
}

std::uint64_t SizeOf(const std::vector<LocalFile>& files) {
  std::uint64_t size = 0;
  for (const LocalFile& file : files) size += file.size;
  return size;
}

std::string TwinKey(const LocalFile& file) {
  const std::string name = file.path.filename().string();
  std::string composed;
  return fmt::format("{}/{}/{}", file.size, file.modifyDate, ComposeUtf8(name, composed));
}

UploadPlan PlanUpload(const std::vector<std::string>& paths, const PlanOptions& options) {
  LocalFiles found = FindLocalFiles(paths, options.filter, options.albumsFromFolders);
  if (!options.albumsFromFolders)
    for (FoundFile& file : found.files) file.album = options.album;
  UploadPlan plan;
  plan.refused = std::move(found.refused);
  plan.leftOut = std::move(found.leftOut);
  std::vector<Unit> units = PairUp(std::move(found.files), options.checked, plan);
  if (options.checked) MarkTwins(units);
  // The twins go when the first of each has gone.
  for (const Twin round : {Twin::kNone, Twin::kCopy, Twin::kRival}) {
    Batcher batcher(plan.batches);
    for (Unit& unit : units) {
      if (unit.twin != round || unit.files.empty()) continue;
      const bool alone = options.checked && unit.files.size() > 1;
      batcher.Add(std::move(unit), alone);
    }
  }
  return plan;
}

}  // namespace kelo::host
