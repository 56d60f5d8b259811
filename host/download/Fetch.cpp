// Downloads the files of a plan with a command for each. Each lane has one on its way at a time,
// which stands on disk before its next one begins.
#include "host/download/Fetch.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "host/download/Arrival.h"
#include "host/download/ItemFile.h"
#include "host/library/Digest.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/terminal/Progress.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxFailedInARow = 3;
constexpr std::uint64_t kLarge = 1'000'000;  // bytes; reading them takes a while

// Failures of one file, which say nothing of the next.
bool IsItsOwn(std::uint32_t code) {
  return code == kKELOResult_NotFound || code == kKELOResult_AlreadyExists ||
         code == kKELOResult_DestinationUnusable;
}

bool IsWanted(const PlannedDownload& file, const FetchOptions& options) {
  return file.standing == Standing::kNothing || options.replace;
}

// What all lanes know.
struct Shared {
  Library& library;
  DownloadPlan& plan;
  const FetchOptions& options;
  InOrder<FetchedFile> told;
  std::optional<Progress> progress{};  // none where nothing is fetched
  std::map<fs::path, int> failed{};    // folders, with what went wrong
  int failures = 0;                    // in a row, in the order in which files are told
  bool aborted = false;

  // More of those that were under way together may fail than would have failed one by one.
  FetchedFile Counted(FetchedFile file) {
    if (file.outcome == FetchOutcome::kFetched || file.code == kKELOResult_NotFound)
      failures = 0;  // the service has answered
    else if (file.outcome == FetchOutcome::kFailed && !IsItsOwn(file.code))
      if (failures++ >= kMaxFailedInARow) return {.file = std::move(file.file)};
    return file;
  }
};

// Fetches one file after the other, into one folder after the other.
class Fetcher {
 public:
  Fetcher(Shared& shared, Workers::Lane& lane) : shared_(shared), lane_(lane) {
    if (shared.progress) part_.emplace(*shared.progress);
  }

  // The file at this position of the plan.
  void Fetch(size_t at) {
    FetchedFile fetched{.file = shared_.plan.files[at]};
    compared_ = false;
    Compare(fetched.file);
    if (!IsWanted(fetched.file, shared_.options))
      Skip(fetched);
    else if (!shared_.options.dryRun && shared_.failures < kMaxFailedInARow)
      Download(fetched);
    if (shared_.aborted) return;
    shared_.told.Tell(at, std::move(fetched));
  }

 private:
  // Where the item's bytes are known, they tell whether what stands there is its file.
  void Compare(PlannedDownload& file) {
    if (shared_.options.memory == nullptr || file.standing == Standing::kNothing) return;
    const auto item = shared_.options.memory->ItemOf(file.itemId);
    const std::string digest = item && item->certain ? Digest(file) : "";
    if (digest.empty()) return;
    compared_ = true;
    file.standing = digest == item->digest ? Standing::kThisOne : Standing::kOther;
  }

  // Of the file that stands there, which is opened only when it may have changed; then kept.
  std::string Digest(const PlannedDownload& file) {
    struct stat status {};
    if (::stat(file.path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    Memory& memory = *shared_.options.memory;
    const Stamp stamp = Stamp::Of(status);
    if (const auto known = memory.FileAt(file.path); known && known->stamp == stamp)
      return known->digest;
    bool showsChanges = stamp.ShowsChanges();
    const std::string digest = lane_.Aside([&] {
      // To read a large file once more in the next run takes longer.
      if (!showsChanges && stamp.size >= kLarge) {
        std::this_thread::sleep_for(Stamp::kFineMoment);
        showsChanges = stamp.ShowsChanges();
      }
      return Sha256OfFile(file.path);
    });
    if (!digest.empty() && !shared_.options.dryRun)
      memory.Keep(
          file.path,
          {.stamp = showsChanges ? stamp : Stamp(), .digest = digest, .itemId = file.itemId});
    return digest;
  }

  void Skip(FetchedFile& fetched) const {
    const PlannedDownload& file = fetched.file;
    // Another run may have put it there meanwhile.
    const bool isHere =
        file.standing == Standing::kThisOne || (!compared_ && IsFileOf(file.path, file.modified));
    if (isHere)
      fetched.outcome = FetchOutcome::kHere;
    else
      Fail(fetched, kKELOResult_AlreadyExists,
           compared_
               ? "the file here has other content; --replace puts the picture in its place"
               : "another file of that name is here; --replace puts the picture in its place");
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

  // Makes the folder ready for what goes into it. 0 or errno.
  int Enter(const fs::path& folder) {
    if (arrival_ && folder == folder_) return 0;
    if (const auto known = shared_.failed.find(folder); known != shared_.failed.end())
      return known->second;
    folder_ = folder;
    try {
      arrival_.emplace(folder);
      return 0;
    } catch (const std::system_error& error) {
      arrival_.reset();
      return shared_.failed[folder] = error.code().value();
    }
  }

  void Download(FetchedFile& fetched) {
    const fs::path folder = fetched.file.path.parent_path();
    if (const int error = Enter(folder); error != 0) return FailHere(fetched, error);
    const std::uint32_t code = Transfer(fetched.file);
    shared_.aborted = shared_.aborted || code == kKELOResult_Aborted;
    if (code != kKELOResult_Success)
      return Fail(fetched, code, ResultWords(code, kKELOCommand_Download));
    if (arrival_->IsMessage()) {
      arrival_->Clear();
      return Fail(fetched, kKELOResult_GeneralFailure,
                  "the service sent a message instead of the file");
    }
    if (shared_.options.bytesOnly) return Learn(fetched);
    const int error = Settle(fetched.file);
    if (error == EEXIST) return Skip(fetched);
    if (error != 0) return FailHere(fetched, error);
    fetched.size = arrival_->Size();
    fetched.outcome = FetchOutcome::kFetched;
    if (shared_.options.memory == nullptr) return;
    fetched.digest = Digest(fetched.file);
    Keep(fetched);
  }

  void Learn(FetchedFile& fetched) {
    fetched.digest = lane_.Aside([&] { return arrival_->TakeDigest(); });
    if (fetched.digest.empty()) return FailHere(fetched, EIO);
    fetched.outcome = FetchOutcome::kFetched;
    Keep(fetched);
  }

  void Keep(const FetchedFile& fetched) const {
    if (!fetched.digest.empty())
      shared_.options.memory->Keep(fetched.file.itemId, {.digest = fetched.digest});
  }

  std::uint32_t Transfer(const PlannedDownload& file) {
    const Message task = {
        {"url", file.url}, {"folder", folder_.string()}, {"name", arrival_->Name()}};
    const auto attempt = [&] {
      part_->Begin({Shown(file.path.filename().string())});
      return lane_.Do(task, arrival_->Folder(), std::ref(*part_));
    };
    auto done = attempt();
    if (!done && !shared_.library.IsStopped()) {
      arrival_->Clear();
      done = attempt();
    }
    if (!done)
      return shared_.library.IsStopped() ? kKELOResult_Aborted : kKELOResult_ConnectionLost;
    const std::uint32_t code = done->at("code");
    shared_.library.Note(code);
    if (code != kKELOResult_Aborted) part_->Over(1, done->at("size"));
    return code;
  }

  // Where the file system takes the name for that of a file that was made before, the next number
  // is free.
  int Settle(PlannedDownload& file) {
    if (const int error = lane_.Aside([&] { return arrival_->Finish(file.modified); }); error != 0)
      return error;
    PathGiver& paths = shared_.plan.paths;
    while (paths.BelongsElsewhere(file.path)) file.path = paths.Take(file.wanted, Named::kFile);
    const int error = arrival_->Settle(file.path.filename().string(), shared_.options.replace);
    if (error == 0) paths.Made(file.path);
    return error;
  }

  Shared& shared_;
  Workers::Lane& lane_;
  std::optional<Progress::Part> part_;
  bool compared_ = false;  // the bytes of what stands where the file goes
  fs::path folder_;        // that of the arrival
  std::optional<Arrival> arrival_;
};

// Throws where the folder cannot be made, before anything is asked for.
void Prepare(const fs::path& folder) try {
  const Arrival arrival(folder);
} catch (const std::system_error& error) {
  throw Failure(fmt::format("cannot write into the folder {}: {}", Shown(folder.string()),
                            std::strerror(error.code().value())));
}

}  // namespace

size_t CountToFetch(const DownloadPlan& plan, const FetchOptions& options) {
  return static_cast<size_t>(std::ranges::count_if(
      plan.files, [&](const PlannedDownload& file) { return IsWanted(file, options); }));
}

void FetchPlan(Library& library, Workers& workers, DownloadPlan plan, const FetchOptions& options,
               const std::function<void(const FetchedFile&)>& report) {
  const size_t toFetch = options.dryRun ? 0 : CountToFetch(plan, options);
  if (toFetch > 0) Prepare(plan.to);
  Shared shared{
      .library = library,
      .plan = plan,
      .options = options,
      .told = {plan.files.size(), [&](const FetchedFile& file) { report(shared.Counted(file)); }}};
  if (toFetch > 0)
    shared.progress.emplace(library.Out(), Job{.doing = "fetching", .files = toFetch});
  size_t next = 0;
  workers.Run(toFetch, [&](Workers::Lane& lane) {
    try {
      for (Fetcher fetcher(shared, lane); next < plan.files.size() && !shared.aborted;)
        fetcher.Fetch(next++);
    } catch (...) {
      shared.aborted = true;  // for the others, too
      throw;
    }
  });
  shared.told.TellRest();
}

Message DoDownloadTask(Library& library, const Message& task, int folder,
                       const OnProgress& progress) {
  const fs::path path =
      PathOf(folder, task.at("folder").get<std::string>()) / task.at("name").get<std::string>();
  try {
    const DownloadedFile file = library.Download({{task.at("url"), path}}, progress).front();
    return {{"code", file.error ? file.error->Code() : 0}, {"size", file.size}};
  } catch (const Error& failure) {
    return {{"code", failure.Code()}, {"size", 0}};
  }
}

std::string FetchDigest(Library& library, const std::string& id, const fs::path& folder) try {
  const Arrival arrival(folder);
  const Message task = {{"url", library.FreshInfo(id).originalUrl},
                        {"folder", folder.string()},
                        {"name", arrival.Name()}};
  std::uint32_t code = DoDownloadTask(library, task, arrival.Folder(), {}).at("code");
  if (code == kKELOResult_NotFound) return {};
  if (code == 0 && arrival.IsMessage()) code = kKELOResult_GeneralFailure;
  std::string digest = code == 0 ? arrival.TakeDigest() : "";
  if (code == 0 && digest.empty()) code = kKELOResult_DestinationUnusable;
  if (code != 0) throw Error("download", code, kKELOCommand_Download);
  return digest;
} catch (const std::system_error&) {
  throw Error("download", kKELOResult_DestinationUnusable, kKELOCommand_Download);
}

std::vector<FetchedFile> Fetch(Library& library, const std::vector<Item>& items,
                               const fs::path& folder) {
  std::map<std::string, FetchedFile, std::less<>> byId;
  Workers alone(library, DoDownloadTask, {});
  FetchPlan(library, alone, PlanDownload(library, {.entries = items}, folder), {},
            [&](const FetchedFile& file) { byId.emplace(file.file.itemId, file); });
  std::vector<FetchedFile> files;
  for (const auto& item : items) files.push_back(byId.find(item.id)->second);
  return files;
}

}  // namespace kelo::host
