// One upload command for each batch, and what follows when it fails.
#include "Upload.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <unordered_set>
#include <utility>

#include "Names.h"
#include "Progress.h"
#include "Records.h"
#include "ResultText.h"
#include "UploadRequest.h"

namespace kelo::host {
namespace {

using Files = std::vector<LocalFile>;

// What is left to send of a batch.
struct Portion {
  Files files;
  AlbumName name{};
  std::string album{};  // its id; empty: none
  bool check = true;
  bool searching = false;  // for the file that a larger portion failed by
  bool maybeSent = false;  // it passed the check as new before, and has left since
};

// So many files, one after the other, that nothing could be stored: it is not the files.
constexpr int kMostFailuresInARow = 3;

bool IsMemo(const LocalFile& file) {
  return IsSoundMemo(file.path);
}

bool HasMemo(const Files& files) {
  return std::any_of(files.begin(), files.end(), IsMemo);
}

class Sender {
 public:
  Sender(Library& library, const UploadPlan& plan, const UploadOptions& options,
         const std::function<void(const UploadedFile&)>& report)
      : library_(library), options_(options), report_(report) {
    std::uint64_t bytes = 0;
    for (const UploadPlan::Batch& batch : plan.batches) bytes += SizeOf(batch.files);
    if (!options.dryRun)
      progress_.emplace(library,
                        Job{.doing = "sending", .files = plan.FileCount(), .bytes = bytes});
  }

  void Send(UploadPlan::Batch batch) {
    Portion portion{.files = std::move(batch.files), .name = std::move(batch.album)};
    portion.check = options_.check;
    if (ended_ != 0) return Report(portion, UploadOutcome::kNotSent, ended_);
    try {
      if (!portion.name.Empty()) portion.album = options_.albumId(portion.name);
    } catch (const CommandFailure& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return Report(portion, UploadOutcome::kFailed, failure.Code());
    }
    for (LocalFile& file : portion.files) AddPictureFacts(file);
    if (batch.twin == Twin::kRival) SendRivals(portion);
    if (options_.dryRun) return Preview(std::move(portion), batch.twin);
    if (full_) KeepWhatFits(portion);
    Send(std::move(portion));
  }

 private:
  void Send(Portion portion) {
    if (ended_ != 0) return Report(portion, UploadOutcome::kNotSent, ended_);
    for (unsigned failed = 1; !portion.files.empty(); ++failed) {
      const auto [result, mayPass] = Attempt(portion, false);
      if (portion.files.empty()) return;
      if (result == kKELOResult_NotFound && DropUnreadable(portion)) continue;
      if (result == kKELOResult_NoSpace && KeepWhatFits(portion)) continue;
      if (IsDark(result)) {
        // Memos alone cannot be asked about: nobody would know whether they are stored.
        if (IsMemo(portion.files.front())) return Fail(portion, result);
        portion.check = true;
        // A portion in which the bad file is searched for is halved at once.
        const bool retries = mayPass && (!portion.searching || portion.files.size() == 1);
        if (retries && library_.PauseBeforeRetry(failed, result)) continue;
        if (!ServiceAnswers()) ended_ = result;
      }
      if (result == kKELOResult_NoSession) ended_ = result;
      if (ended_ != 0) return Report(portion, UploadOutcome::kNotSent, ended_);
      if (portion.files.size() == 1) return Fail(portion, result);
      return Halve(std::move(portion));
    }
  }

  void Fail(const Portion& portion, std::uint32_t code) {
    Report(portion, UploadOutcome::kFailed, code);
    if (IsDark(code) && ++failedInARow_ == kMostFailuresInARow) ended_ = code;
  }

  struct Result {
    std::uint32_t code;
    bool mayPass;
  };

  // Sends the portion, or only asks for it; reports what is decided, which leaves the portion.
  // Throws when aborted.
  Result Attempt(Portion& portion, bool checkOnly) {
    if (progress_ && !checkOnly) Announce(portion.files);
    const UploadAnswer answer = Perform(library_,
                                        {.album = portion.album,
                                         .tags = options_.tags,
                                         .check = portion.check,
                                         .checkOnly = checkOnly},
                                        portion.files);
    std::vector<UploadedFile> decided;
    Files left;
    for (std::size_t at = 0; at < portion.files.size(); ++at) {
      const FileAnswer& file = answer.files[at];
      if (!file.decided) {
        left.push_back(std::move(portion.files[at]));
        continue;
      }
      UploadOutcome outcome = file.outcome;
      // It was new, so it is there because it has been sent.
      if (portion.maybeSent &&
          (outcome == UploadOutcome::kAlreadyThere || outcome == UploadOutcome::kAlreadyInAlbum))
        outcome = UploadOutcome::kStored;
      decided.push_back(
          {std::move(portion.files[at]), portion.name, outcome, file.code, file.itemId});
    }
    portion.files = std::move(left);
    portion.maybeSent |= portion.check && answer.checked && !checkOnly;
    PlaceAndReport(portion, decided);
    if (answer.result == kKELOResult_Aborted)
      throw CommandFailure("upload", answer.result, kKELOCommand_Upload);
    return {answer.result, answer.mayPass};
  }

  void Announce(const Files& files) {
    std::vector<std::string> names;
    std::vector<std::uint64_t> sizes;
    for (const LocalFile& file : files) {
      names.push_back(Shown(file.path.filename().string()));
      sizes.push_back(file.size);
    }
    progress_->Begin(std::move(names), std::move(sizes));
  }

  // What was there already goes into the album.
  void PlaceAndReport(const Portion& portion, std::vector<UploadedFile>& files) {
    std::vector<tagKELO_AddLinkInfo> links;
    std::vector<UploadedFile*> placed;
    for (UploadedFile& file : files) {
      if (portion.name.Empty() || file.outcome != UploadOutcome::kAlreadyThere ||
          file.itemId.empty())
        continue;
      CopyText(links.emplace_back().itemIdList, file.itemId);
      placed.push_back(&file);
    }
    if (!links.empty() && !options_.dryRun) library_.AddLinks(portion.album, links);
    for (std::size_t at = 0; at < placed.size(); ++at) {
      placed[at]->code = links[at].result;
      placed[at]->outcome =
          links[at].result == 0 ? UploadOutcome::kPlaced : UploadOutcome::kNotPlaced;
    }
    for (const UploadedFile& file : files) Report(file);
  }

  void Report(const UploadedFile& file) {
    if (file.outcome == UploadOutcome::kStored) {
      ++stored_;
      failedInARow_ = 0;
      storedKeys_.insert(TwinKey(file.file));
    }
    if (progress_) progress_->Over(1, file.file.size);
    report_(file);
  }

  void Report(const Portion& portion, UploadOutcome outcome, std::uint32_t code) {
    for (const LocalFile& file : portion.files) Report({file, portion.name, outcome, code, {}});
  }

  // Nobody knows what became of the files, and whether it was for them.
  static bool IsDark(std::uint32_t result) {
    constexpr std::uint32_t kDark[] = {kKELOResult_TransportFailure, kKELOResult_TimedOut,
                                       kKELOResult_ConnectionLost, kKELOResult_GeneralFailure};
    return std::find(std::begin(kDark), std::end(kDark), result) != std::end(kDark);
  }

  // Tells a service that refuses this portion from one that cannot be reached.
  bool ServiceAnswers() {
    try {
      library_.Capacity();
      return true;
    } catch (const CommandFailure& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return !IsDark(failure.Code());
    }
  }

  void Halve(Portion portion) {
    portion.searching = true;
    Portion rest = portion;
    const bool isPair = portion.check && HasMemo(portion.files);
    if (isPair) {
      // A memo goes with its picture, or behind it.
      std::erase_if(portion.files, IsMemo);
      std::erase_if(rest.files, std::not_fn(IsMemo));
      rest.check = false;
    } else {
      const auto middle = static_cast<std::ptrdiff_t>(portion.files.size() / 2);
      portion.files.erase(portion.files.begin() + middle, portion.files.end());
      rest.files.erase(rest.files.begin(), rest.files.begin() + middle);
    }
    const std::size_t stored = stored_;
    Send(std::move(portion));
    if (isPair && stored == stored_) return Report(rest, UploadOutcome::kNotSent, ended_);
    Send(std::move(rest));
  }

  // Takes out, and reports, what cannot be read any more or has become shorter; true when there was
  // any.
  bool DropUnreadable(Portion& portion) {
    const auto readable = [](const LocalFile& file) {
      try {
        return DescribeFile(file.path).size >= file.size;
      } catch (const Failure&) {
        return false;
      }
    };
    return Drop(portion, readable, kKELOResult_NotFound);
  }

  // Takes out, and reports, what the storage has no room for; true when there was any. Of files
  // that are stored already, it must know first.
  bool KeepWhatFits(Portion& portion) {
    full_ = true;
    if (portion.check) Attempt(portion, true);
    std::uint64_t room = 0;
    try {
      const tagKELO_StorageCapacityInfo capacity = library_.Capacity();
      const std::uint64_t stored = capacity.dataCapacity;
      const std::uint64_t allowed = capacity.storageCapacity;
      room = allowed > stored ? allowed - stored : 0;
    } catch (const CommandFailure& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return false;
    }
    // A pair goes together or not at all.
    const bool whole = portion.check && HasMemo(portion.files);
    const std::uint64_t all = SizeOf(portion.files);
    const auto fits = [&](const LocalFile& file) {
      if (whole) return all <= room;
      if (file.size > room) return false;
      room -= file.size;
      return true;
    };
    return Drop(portion, fits, kKELOResult_NoSpace);
  }

  template <typename Keep>
  bool Drop(Portion& portion, Keep keep, std::uint32_t code) {
    const auto dropped = std::stable_partition(portion.files.begin(), portion.files.end(), keep);
    Portion bad{.files = Files(dropped, portion.files.end()), .name = portion.name};
    portion.files.erase(dropped, portion.files.end());
    Report(bad, UploadOutcome::kFailed, code);
    return !bad.files.empty();
  }

  // The check would take these for the files that were stored just now.
  void SendRivals(Portion& portion) {
    const auto isKnown = [&](const LocalFile& file) {
      return !storedKeys_.contains(TwinKey(HasMemo(portion.files) ? portion.files.front() : file));
    };
    const auto rivals = std::stable_partition(portion.files.begin(), portion.files.end(), isKnown);
    Portion unchecked = portion;
    unchecked.files.assign(rivals, portion.files.end());
    unchecked.check = false;
    portion.files.erase(rivals, portion.files.end());
    if (options_.dryRun) return Report(unchecked, UploadOutcome::kStored, 0);
    Send(std::move(unchecked));
  }

  // What the service would do with the portion.
  void Preview(Portion portion, Twin twin) {
    const std::uint32_t result = portion.check ? Attempt(portion, true).code : 0;
    if (result == 0) {
      const auto copied =
          portion.name.Empty() ? UploadOutcome::kAlreadyThere : UploadOutcome::kPlaced;
      for (LocalFile& file : portion.files) {
        const auto outcome = twin == Twin::kCopy ? copied : UploadOutcome::kStored;
        Report({std::move(file), portion.name, outcome, 0, {}});
      }
      return;
    }
    ended_ = result;
    Report(portion, UploadOutcome::kNotSent, ended_);
  }

  Library& library_;
  const UploadOptions& options_;
  const std::function<void(const UploadedFile&)>& report_;
  std::optional<Progress> progress_;  // none in a dry run
  std::size_t stored_ = 0;
  int failedInARow_ = 0;
  std::unordered_set<std::string> storedKeys_;
  bool full_ = false;        // the storage
  std::uint32_t ended_ = 0;  // by which failure, 0: it goes on
};

}  // namespace

void SendPlan(Library& library, UploadPlan plan, const UploadOptions& options,
              const std::function<void(const UploadedFile&)>& report) {
  Sender sender(library, plan, options, report);
  for (UploadPlan::Batch& batch : plan.batches) sender.Send(std::move(batch));
}

}  // namespace kelo::host
