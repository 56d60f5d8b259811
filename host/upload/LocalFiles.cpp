// Walking folders.
#include "host/upload/LocalFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

#include "host/account/Names.h"
#include "host/library/ResultText.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

bool IsUtf8(const std::string& text) {
  std::string scratch;
  return ComposeUtf8(text, scratch).data() != nullptr;
}

class Gatherer {
 public:
  Gatherer(const UploadFilter& filter, bool albums) : filter_(filter), albums_(albums) {}

  void Add(const fs::path& path) {
    std::error_code failed;
    if (fs::is_directory(path, failed))
      Walk(path, {}, false);
    else if (!LeftOutFor(filter_.File(path.filename(), true)))
      AddFile(path, {});
  }

  LocalFiles found;

 private:
  bool LeftOutFor(std::optional<LeftOut> reason) {
    if (reason) ++found.leftOut[*reason];
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
    if (failed) found.refused.push_back({folder, failed.message()});
    std::sort(files.begin(), files.end());
    std::sort(folders.begin(), folders.end());
    const bool isFirst = !below.empty() && ++below.begin() == below.end();
    if (isFirst) holdsFolders = !folders.empty();
    for (const fs::path& name : files)
      AddFile(folder / name, AlbumOfFile(below / name, holdsFolders));
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
        ++found.leftOut[LeftOut::kFolderLink];
    }
  }

  void AddFile(const fs::path& path, AlbumName album) {
    if (!albums_) album = {};
    try {
      LocalFile facts = DescribeFile(path);
      if (std::string reason = WhyRefused(facts, album); !reason.empty())
        found.refused.push_back({path, std::move(reason)});
      else if (seen_.emplace(facts.device, facts.inode, album).second)
        found.files.push_back({std::move(facts), std::move(album)});
    } catch (const Failure& failure) {
      found.refused.push_back({path, failure.what()});
    }
  }

  static std::string WhyRefused(const LocalFile& facts, const AlbumName& album) {
    if (!IsUtf8(facts.path.filename().string())) return "its name is not UTF-8";
    if (!IsUtf8(album.folder) || !IsUtf8(album.album)) return "its folder's name is not UTF-8";
    if (facts.size == 0) return "it is empty";
    if (facts.size > kMaxFile)
      return fmt::format("{} is too large; a file must be below 2 GiB", ByteText(facts.size));
    return {};
  }

  const UploadFilter& filter_;
  const bool albums_;
  std::set<std::tuple<std::uint64_t, std::uint64_t, AlbumName>> seen_;
};

}  // namespace

LocalFiles FindLocalFiles(const std::vector<std::string>& paths, const UploadFilter& filter,
                          bool albums) {
  Gatherer gatherer(filter, albums);
  for (const std::string& path : paths) gatherer.Add(path);
  return std::move(gatherer.found);
}

}  // namespace kelo::host
