// Downloads the files of a plan with a command for each, so that each stands on disk before the
// next one begins.
#include "host/download/Fetch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "host/download/Arrival.h"
#include "host/download/ItemFile.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/terminal/Progress.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr int kGiveUpAfter = 3;

// Failures of one file, which say nothing of the next.
bool IsItsOwn(std::uint32_t code) {
  return code == kKELOResult_NotFound || code == kKELOResult_AlreadyExists ||
         code == kKELOResult_DestinationUnusable;
}

bool IsWanted(const PlannedDownload& file, const FetchOptions& options) {
  return file.standing == Standing::kNothing || options.replace;
}

class Fetcher {
 public:
  Fetcher(Library& library, DownloadPlan& plan, const FetchOptions& options)
      : library_(library), plan_(plan), options_(options) {
    const size_t files = options.dryRun ? 0 : CountToFetch(plan, options);
    if (files > 0) progress_.emplace(library.Out(), Job{.doing = "fetching", .files = files});
  }

  bool IsAborted() const { return aborted_; }

  // Makes the folder ready for what goes into it. 0 or errno.
  int Enter(const fs::path& folder) {
    if (arrival_ && folder == folder_) return 0;
    if (const auto known = failed_.find(folder); known != failed_.end()) return known->second;
    folder_ = folder;
    try {
      arrival_.emplace(folder);
      return 0;
    } catch (const std::system_error& error) {
      arrival_.reset();
      return failed_[folder] = error.code().value();
    }
  }

  FetchedFile Fetch(PlannedDownload file) {
    const bool wanted = IsWanted(file, options_);
    FetchedFile fetched{.file = std::move(file)};
    if (!wanted)
      Skip(fetched);
    else if (!options_.dryRun && failures_ < kGiveUpAfter && !aborted_)
      Download(fetched);
    return fetched;
  }

 private:
  static void Skip(FetchedFile& fetched) {
    const PlannedDownload& file = fetched.file;
    // Another run may have put it there meanwhile.
    if (file.standing == Standing::kThisOne || IsFileOf(file.path, file.modified))
      fetched.outcome = FetchOutcome::kHere;
    else
      Fail(fetched, kKELOResult_AlreadyExists,
           "another file of that name is here; --replace puts the picture in its place");
  }

  static void Fail(FetchedFile& fetched, std::uint32_t code, std::string_view words) {
    fetched.outcome = FetchOutcome::kFailed;
    fetched.code = code;
    fetched.problem = words;
  }

  static void FailHere(FetchedFile& fetched, int error) {
    const bool full = error == ENOSPC || error == EDQUOT;
    Fail(fetched, full ? kKELOResult_NoSpace : kKELOResult_DestinationUnusable,
         fmt::format("it cannot be written: {}", std::strerror(error)));
  }

  void Download(FetchedFile& fetched) {
    const fs::path folder = fetched.file.path.parent_path();
    if (const int error = Enter(folder); error != 0) return FailHere(fetched, error);
    const std::uint32_t code = Transfer(fetched.file);
    aborted_ = code == kKELOResult_Aborted;
    failures_ = code == kKELOResult_Success || IsItsOwn(code) ? 0 : failures_ + 1;
    if (code != kKELOResult_Success)
      return Fail(fetched, code, ResultWords(code, kKELOCommand_Download));
    const int error = Settle(fetched.file);
    if (error == EEXIST) return Skip(fetched);
    if (error != 0) return FailHere(fetched, error);
    fetched.size = arrival_->Size();
    fetched.outcome = FetchOutcome::kStored;
  }

  std::uint32_t Transfer(const PlannedDownload& file) {
    progress_->Begin({Shown(file.path.filename().string())});
    const DownloadedFile downloaded = Attempt(file.url);
    const std::uint32_t code = downloaded.error ? downloaded.error->Code() : 0;
    if (code != kKELOResult_Aborted) progress_->Over(1, downloaded.size);
    return code;
  }

  DownloadedFile Attempt(const std::string& url) try {
    return library_.Download({{url, arrival_->Path()}}, std::ref(*progress_)).front();
  } catch (const Error& failure) {
    return {.error = failure};
  }

  // Where the file system takes the name for that of a file that was made before, the next number
  // is free.
  int Settle(PlannedDownload& file) {
    while (plan_.paths.BelongsElsewhere(file.path))
      file.path = plan_.paths.Take(file.wanted, Named::kFile);
    const int error =
        arrival_->Settle(file.path.filename().string(), file.modified, options_.replace);
    if (error == 0) plan_.paths.Made(file.path);
    return error;
  }

  Library& library_;
  DownloadPlan& plan_;
  const FetchOptions& options_;
  std::optional<Progress> progress_;
  fs::path folder_;  // that of the arrival
  std::optional<Arrival> arrival_;
  std::map<fs::path, int> failed_;  // folders, with what went wrong
  int failures_ = 0;                // in a row
  bool aborted_ = false;
};

}  // namespace

size_t CountToFetch(const DownloadPlan& plan, const FetchOptions& options) {
  return static_cast<size_t>(std::ranges::count_if(
      plan.files, [&](const PlannedDownload& file) { return IsWanted(file, options); }));
}

void FetchPlan(Library& library, DownloadPlan plan, const FetchOptions& options,
               const std::function<void(const FetchedFile&)>& report) {
  Fetcher fetcher(library, plan, options);
  if (!options.dryRun && CountToFetch(plan, options) > 0) {
    if (const int error = fetcher.Enter(plan.to); error != 0)
      throw Failure(fmt::format("cannot write into the folder {}: {}", Shown(plan.to.string()),
                                std::strerror(error)));
  }
  for (PlannedDownload& file : plan.files) {
    const FetchedFile fetched = fetcher.Fetch(std::move(file));
    if (fetcher.IsAborted()) return;
    report(fetched);
  }
}

std::vector<FetchedFile> Fetch(Library& library, const std::vector<Item>& items,
                               const fs::path& folder) {
  std::map<std::string, FetchedFile, std::less<>> byId;
  FetchPlan(library, PlanDownload(library, {.entries = items}, folder), {},
            [&](const FetchedFile& file) { byId.emplace(file.file.itemId, file); });
  std::vector<FetchedFile> files;
  for (const auto& item : items) files.push_back(byId.find(item.id)->second);
  return files;
}

}  // namespace kelo::host
