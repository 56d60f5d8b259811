// Walking, pairing and cutting into batches.
#include "UploadPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "Names.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

bool Hidden(const fs::path& path) {
  return path.filename().string().starts_with('.');
}

class Gatherer {
 public:
  explicit Gatherer(UploadPlan& plan) : plan_(plan) {}

  void Add(const fs::path& path) {
    std::error_code failed;
    if (fs::is_directory(path, failed))
      Walk(path);
    else
      AddFile(path);
  }

  std::vector<LocalFile> files;

 private:
  // Links to folders are not followed: they may lead round in a circle.
  void Walk(const fs::path& folder) {
    std::error_code failed;
    std::vector<fs::path> entries;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed))
      if (!Hidden(at->path())) entries.push_back(at->path());
    if (failed) plan_.refused.push_back(Shown(folder.string()) + ": " + failed.message());
    std::sort(entries.begin(), entries.end());
    for (const fs::path& entry : entries)
      if (!fs::is_directory(entry, failed))
        AddFile(entry);
      else if (!fs::is_symlink(entry, failed))
        Walk(entry);
  }

  void AddFile(const fs::path& path) {
    std::error_code failed;
    fs::path canonical = fs::weakly_canonical(path, failed);
    if (!seen_.insert(failed ? path : canonical).second) return;
    try {
      LocalFile file = DescribeFile(path);
      if (file.size > kMaxFile) {
        throw Failure(fmt::format("{}: {} is too large; a file must be below 2 GiB",
                                  Shown(path.string()), ByteText(file.size)));
      }
      files.push_back(std::move(file));
    } catch (const Failure& failure) {
      plan_.refused.emplace_back(failure.what());
    }
  }

  UploadPlan& plan_;
  std::set<fs::path> seen_;
};

// "IMG_1.JPG" and "img_1.wav" of one folder belong together.
std::string PairKey(const fs::path& path) {
  std::string stem = path.stem().string();
  std::transform(stem.begin(), stem.end(), stem.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return (path.parent_path() / stem).string();
}

// Units that must not be divided: a picture with its memo, or one file.
std::vector<UploadPlan::Batch> Units(std::vector<LocalFile> files, bool checked, UploadPlan& plan) {
  std::vector<UploadPlan::Batch> units;
  std::map<std::string, std::size_t> pictureUnits;
  std::vector<LocalFile> memos;
  for (LocalFile& file : files) {
    if (IsSoundMemo(file.path)) {
      memos.push_back(std::move(file));
      continue;
    }
    pictureUnits.emplace(PairKey(file.path), units.size());
    units.push_back({std::move(file)});
  }
  for (LocalFile& memo : memos) {
    const auto found = pictureUnits.find(PairKey(memo.path));
    if (found != pictureUnits.end()) {
      units[found->second].push_back(std::move(memo));
    } else if (!checked) {
      units.push_back({std::move(memo)});
    } else {
      plan.refused.push_back(
          Shown(memo.path.string()) +
          ": a sound memo goes with the picture of its name; --force sends it alone");
    }
  }
  return units;
}

}  // namespace

std::size_t UploadPlan::FileCount() const {
  std::size_t count = 0;
  for (const Batch& batch : batches) count += batch.size();
  return count;
}

std::uint64_t BatchSize(const UploadPlan::Batch& batch) {
  std::uint64_t size = 0;
  for (const LocalFile& file : batch) size += file.size;
  return size;
}

UploadPlan PlanUpload(const std::vector<std::string>& paths, bool checked) {
  UploadPlan plan;
  Gatherer gatherer(plan);
  for (const std::string& path : paths) gatherer.Add(path);
  UploadPlan::Batch open;
  for (auto& unit : Units(std::move(gatherer.files), checked, plan)) {
    if (checked && unit.size() > 1) {
      plan.batches.push_back(std::move(unit));
      continue;
    }
    const bool full =
        open.size() + unit.size() > kBatchFiles || BatchSize(open) + BatchSize(unit) > kBatchBytes;
    if (full && !open.empty()) plan.batches.push_back(std::exchange(open, {}));
    std::move(unit.begin(), unit.end(), std::back_inserter(open));
  }
  if (!open.empty()) plan.batches.push_back(std::move(open));
  return plan;
}

}  // namespace kelo::host
