// Walking folders.
#include "host/upload/LocalFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <future>
#include <set>
#include <span>
#include <tuple>
#include <utility>

#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

bool IsUtf8(const std::string& text) {
  std::string scratch;
  return ComposeUtf8(text, scratch).data() != nullptr;
}

// A file, or, with a refusal, a file or folder that cannot be taken.
struct Candidate {
  FoundFile file;
  std::string refusal{};
};

std::string WhyRefused(const FoundFile& file) {
  if (!IsUtf8(file.facts.path.filename().string())) return "its name is not UTF-8";
  if (!IsUtf8(file.album.folder) || !IsUtf8(file.album.album))
    return "its folder's name is not UTF-8";
  if (file.facts.size == 0) return "it is empty";
  if (file.facts.size > kMaxFile)
    return fmt::format("{} is too large; a file must be below 2 GiB", ByteText(file.facts.size));
  return {};
}

void Describe(Candidate& candidate) {
  if (!candidate.refusal.empty()) return;
  try {
    Describe(candidate.file.facts);
    candidate.refusal = WhyRefused(candidate.file);
  } catch (const Failure& failure) {
    candidate.refusal = failure.what();
  }
}

// On several threads: a disk, and a network above all, answers many questions at once.
void DescribeAll(std::vector<Candidate>& candidates) {
  constexpr std::size_t kThreads = 8;
  constexpr std::size_t kSmallestShare = 100;
  const std::size_t share = std::max(candidates.size() / kThreads + 1, kSmallestShare);
  std::vector<std::future<void>> shares;
  for (auto rest = std::span(candidates); !rest.empty();) {
    const auto mine = rest.first(std::min(share, rest.size()));
    rest = rest.subspan(mine.size());
    shares.push_back(std::async([mine] {
      for (Candidate& candidate : mine) Describe(candidate);
    }));
  }
  for (std::future<void>& each : shares) each.get();
}

class Gatherer {
 public:
  Gatherer(const UploadFilter& filter, bool albums) : filter_(filter), albums_(albums) {}

  void Add(const fs::path& path) {
    std::error_code failed;
    if (fs::is_directory(path, failed))
      Walk(path, {}, false);
    else if (!LeftOutFor(filter_.File(path.filename(), true)))
      AddCandidate(path, {});
  }

  LocalFiles Finish() {
    DescribeAll(candidates_);
    std::set<std::tuple<std::uint64_t, std::uint64_t, AlbumName>> seen;
    for (auto& [file, refusal] : candidates_)
      if (!refusal.empty())
        found_.refused.push_back({std::move(file.facts.path), std::move(refusal)});
      else if (seen.emplace(file.facts.device, file.facts.inode, file.album).second)
        found_.files.push_back(std::move(file));
    return std::move(found_);
  }

 private:
  bool LeftOutFor(std::optional<LeftOut> reason) {
    if (reason) ++found_.leftOut[*reason];
    return reason.has_value();
  }

  // `below` is the folder's path below the one of the command line, `holdsFolders` tells of the
  // first folder on it.
  void Walk(const fs::path& folder, const fs::path& below, bool holdsFolders) {
    std::error_code failed;
    std::vector<fs::path> files;
    std::vector<fs::path> folders;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed))
      Sort(*at, below, files, folders);
    if (failed) AddCandidate(folder, {}, failed.message());
    std::ranges::sort(files, {}, &fs::path::native);
    std::ranges::sort(folders, {}, &fs::path::native);
    const bool isFirst = !below.empty() && ++below.begin() == below.end();
    if (isFirst) holdsFolders = !folders.empty();
    for (const fs::path& name : files)
      AddCandidate(folder / name, albums_ ? AlbumOfFile(below / name, holdsFolders) : AlbumName());
    for (const fs::path& name : folders) Walk(folder / name, below / name, holdsFolders);
  }

  void Sort(const fs::directory_entry& entry, const fs::path& below, std::vector<fs::path>& files,
            std::vector<fs::path>& folders) {
    std::error_code ignored;
    fs::path name = entry.path().filename();
    if (!entry.is_directory(ignored)) {
      if (!LeftOutFor(filter_.File(below / name, false))) files.push_back(std::move(name));
    } else if (!LeftOutFor(filter_.Folder(below / name))) {
      if (!entry.is_symlink(ignored))
        folders.push_back(std::move(name));
      else
        ++found_.leftOut[LeftOut::kFolderLink];
    }
  }

  void AddCandidate(fs::path path, AlbumName album, std::string refusal = {}) {
    candidates_.push_back(
        {{.facts = {.path = std::move(path)}, .album = std::move(album)}, std::move(refusal)});
  }

  const UploadFilter& filter_;
  const bool albums_;
  std::vector<Candidate> candidates_;
  LocalFiles found_;
};

}  // namespace

LocalFiles FindLocalFiles(const std::vector<std::string>& paths, const UploadFilter& filter,
                          bool albums) {
  Gatherer gatherer(filter, albums);
  for (const std::string& path : paths) gatherer.Add(path);
  return gatherer.Finish();
}

}  // namespace kelo::host
