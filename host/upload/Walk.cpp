// Walks folders, and asks about the files in them on several threads.
#include "host/upload/Walk.h"

#include <fmt/format.h>

#include <algorithm>
#include <future>
#include <set>
#include <span>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "host/names/Dates.h"
#include "host/names/Names.h"
#include "host/upload/Albums.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

bool IsUtf8(const std::string& text) {
  std::string scratch;
  return ComposeUtf8(text, scratch).data() != nullptr;
}

std::string WhyUnfit(const File& file) {
  if (!IsUtf8(file.Name())) return "its name is not UTF-8";
  if (!IsUtf8(file.album.folder) || !IsUtf8(file.album.album))
    return "its folder's name is not UTF-8";
  if (file.size == 0) return "it is empty; empty files are not sent";
  if (file.size > kMaxFile)
    return fmt::format("{} is too large; a file must be below 2 GiB", ByteText(file.size));
  return {};
}

void Examine(File& file) {
  if (file.outcome != UploadOutcome::kUndecided || !Describe(file)) return;
  file.reason = WhyUnfit(file);
  if (!file.reason.empty()) file.outcome = UploadOutcome::kUnfit;
}

// On several threads: a disk, and a network above all, answers many questions at once.
void ExamineAll(std::vector<File>& files) {
  constexpr size_t kThreads = 8;
  constexpr size_t kSmallestShare = 100;
  const size_t share = std::max(files.size() / kThreads + 1, kSmallestShare);
  std::vector<std::future<void>> shares;
  for (auto rest = std::span(files); !rest.empty();) {
    const auto mine = rest.first(std::min(share, rest.size()));
    rest = rest.subspan(mine.size());
    shares.push_back(std::async([mine] { std::ranges::for_each(mine, Examine); }));
  }
  for (std::future<void>& each : shares) each.get();
}

// Also of "2023/" and of ".".
fs::path NameOf(const fs::path& folder) {
  const fs::path name = folder.has_filename() ? folder.filename() : folder.parent_path().filename();
  std::error_code failed;
  return name.empty() || name == "." || name == ".." ? fs::canonical(folder, failed).filename()
                                                     : name;
}

class Walker {
 public:
  Walker(const UploadFilter& filter, bool albums) : filter_(filter), albums_(albums) {}

  void Add(const fs::path& path, bool isOneOfSeveral) {
    std::error_code failed;
    if (fs::is_directory(path, failed)) {
      top_ = isOneOfSeveral ? NameOf(path) : fs::path();
      Walk(path, {});
    } else if (!IsLeftOut(filter_.LeavesFileOut(path.filename(), true))) {
      files_.push_back({.path = path.string()});
    }
  }

  const std::vector<File>& Found() const { return files_; }

  std::vector<File> Finish(LeftOutCounts* leftOut) {
    ExamineAll(files_);
    // A file that is named twice goes once; a link of another name is a copy.
    std::set<std::tuple<std::uint64_t, std::uint64_t, AlbumName, std::string>> seen;
    std::erase_if(files_, [&](const File& file) {
      return file.outcome == UploadOutcome::kUndecided &&
             !seen.emplace(file.stamp.device, file.stamp.inode, file.album, file.Name()).second;
    });
    if (filter_.wish.HasBounds()) LeaveOutByBounds();
    if (leftOut != nullptr) *leftOut = std::move(leftOut_);
    return std::move(files_);
  }

 private:
  bool IsWithinBounds(const File& file) const {
    const Filter& wish = filter_.wish;
    return wish.TakesSize(file.size) &&
           wish.TakesDate(ShownSeconds(file.modifyDate, DateClock::kUniversal));
  }

  // A voice memo stays with its picture, which it could not follow later.
  void LeaveOutByBounds() {
    std::unordered_map<std::string, bool> pictures;  // whether they are taken
    for (const File& file : files_)
      if (!file.IsVoiceMemo()) pictures[file.PairKey()] |= IsWithinBounds(file);
    const size_t count = std::erase_if(files_, [&](const File& file) {
      if (!file.IsDescribed()) return false;
      if (!file.IsVoiceMemo()) return !IsWithinBounds(file);
      const auto picture = pictures.find(file.PairKey());
      return !(picture == pictures.end() ? IsWithinBounds(file) : picture->second);
    });
    if (count > 0) leftOut_[LeftOut::kByFilter] += count;
  }

  bool IsLeftOut(std::optional<LeftOut> reason) {
    if (reason) ++leftOut_[*reason];
    return reason.has_value();
  }

  // `below` is the folder's path below the one of the command line.
  void Walk(const fs::path& folder, const fs::path& below) {
    std::error_code failed;
    std::vector<fs::path> files;
    std::vector<fs::path> folders;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed))
      Sort(*at, below, files, folders);
    if (failed)
      files_.push_back({.path = folder.string(),
                        .outcome = UploadOutcome::kUnreadable,
                        .reason = failed.message()});
    std::ranges::sort(files, {}, &fs::path::native);
    std::ranges::sort(folders, {}, &fs::path::native);
    const AlbumName album =
        albums_ ? AlbumOfFolder(below.empty() ? top_ : top_ / below, !folders.empty())
                : AlbumName();
    for (const fs::path& name : files)
      files_.push_back({.path = (folder / name).string(), .album = album});
    for (const fs::path& name : folders) Walk(folder / name, below / name);
  }

  void Sort(const fs::directory_entry& entry, const fs::path& below, std::vector<fs::path>& files,
            std::vector<fs::path>& folders) {
    std::error_code ignored;
    fs::path name = entry.path().filename();
    if (!entry.is_directory(ignored)) {
      if (!IsLeftOut(filter_.LeavesFileOut(below / name, false))) files.push_back(std::move(name));
    } else if (!IsLeftOut(filter_.LeavesFolderOut(below / name))) {
      if (!entry.is_symlink(ignored))
        folders.push_back(std::move(name));
      else
        ++leftOut_[LeftOut::kFolderLink];
    }
  }

  const UploadFilter& filter_;
  const bool albums_;
  fs::path top_;  // of the albums' names: empty, or the name of the folder that is walked
  LeftOutCounts leftOut_;
  std::vector<File> files_;
};

}  // namespace

std::vector<File> FindFiles(const std::vector<std::string>& paths, const UploadFilter& filter,
                            bool albums, LeftOutCounts* leftOut,
                            const std::function<void(const std::vector<File>&)>& onFound) {
  Walker walker(filter, albums);
  for (const std::string& path : paths) walker.Add(path, paths.size() > 1);
  if (onFound) onFound(walker.Found());
  return walker.Finish(leftOut);
}

}  // namespace kelo::host
