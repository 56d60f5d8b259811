// One upload command for each batch, and what follows when it fails.
#include "host/upload/Upload.h"

#include <algorithm>
#include <functional>
#include <future>
#include <iterator>
#include <utility>

#include "host/library/Retries.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

using Files = std::vector<LocalFile>;

// So many files fail one after the other only where it is not for the files.
constexpr unsigned kMaxFailuresInARow = 5;

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
      : library_(library), options_(options), attempts_(library, plan, options, report) {}

  // The batch knows what its pictures tell.
  void Send(UploadPlan::Batch batch) {
    Portion portion{.files = std::move(batch.files), .name = std::move(batch.album)};
    portion.check = options_.check;
    if (ended_ != 0) return attempts_.Report(portion, UploadOutcome::kNotSent, ended_);
    try {
      if (!portion.name.Empty()) portion.album = options_.albumId(portion.name);
    } catch (const CommandFailure& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      EndIfHopeless(failure.Code());
      return Fail(portion, failure.Code(), UploadOutcome::kNotSent);
    }
    if (batch.twin == Twin::kRival) SendRivals(portion);
    if (portion.check) LeaveOutRenamed(portion);
    if (portion.files.empty()) return;
    if (options_.dryRun) return Preview(std::move(portion), batch.twin);
    if (full_) KeepWhatFits(portion);
    Send(std::move(portion));
  }

  // No further batch will be sent.
  bool HasEnded() const { return ended_ != 0; }

 private:
  void Send(Portion portion) {
    if (ended_ != 0) return attempts_.Report(portion, UploadOutcome::kNotSent, ended_);
    for (unsigned failed = 1; !portion.files.empty(); ++failed) {
      const auto [result, mayPass] = attempts_.Send(portion);
      if (portion.files.empty()) return;
      if (result == kKELOResult_NotFound && DropUnreadable(portion)) continue;
      if (result == kKELOResult_NoSpace && KeepWhatFits(portion)) continue;
      if (IsUnclear(result)) {
        // Memos alone cannot be asked about: nobody would know whether they are stored.
        if (std::all_of(portion.files.begin(), portion.files.end(), IsMemo))
          return Fail(portion, result);
        portion.check = true;
        // A portion in which the bad file is searched for is halved at once.
        const bool retries = mayPass && (!portion.searching || portion.files.size() == 1);
        if (retries && library_.PauseBeforeRetry(failed, result)) continue;
      }
      EndIfHopeless(result);
      if (ended_ != 0) return attempts_.Report(portion, UploadOutcome::kNotSent, ended_);
      if (portion.files.size() == 1) return Fail(portion, result);
      return Halve(std::move(portion));
    }
  }

  void Fail(const Portion& portion, std::uint32_t code,
            UploadOutcome outcome = UploadOutcome::kFailed) {
    attempts_.Report(portion, outcome, code);
    if (!IsUnclear(code)) return;
    if (std::exchange(heldBefore_, attempts_.Held()) != attempts_.Held()) failedInARow_ = 0;
    if (++failedInARow_ == kMaxFailuresInARow) ended_ = code;
  }

  // The next batch would meet the same failure.
  void EndIfHopeless(std::uint32_t result) {
    if (result == kKELOResult_NoSession || (IsUnclear(result) && !ServiceAnswers()))
      ended_ = result;
  }

  // Tells a service that refuses this portion from one that cannot be reached.
  bool ServiceAnswers() {
    try {
      library_.Capacity();
      return true;
    } catch (const CommandFailure& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return !IsUnclear(failure.Code());
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
    const std::size_t stored = attempts_.Stored();
    Send(std::move(portion));
    if (isPair && stored == attempts_.Stored())
      return attempts_.Report(rest, UploadOutcome::kNotSent, ended_);
    Send(std::move(rest));
  }

  // Takes out, and reports, what cannot be read any more or has become shorter; true when there was
  // any.
  bool DropUnreadable(Portion& portion) {
    const auto readable = [](const LocalFile& file) {
      const auto now = NowAt(file.path);
      return now && now->size >= file.size;
    };
    return Drop(portion, readable, kKELOResult_NotFound);
  }

  // Takes out, and reports, what the storage has no room for; true when there was any. Of files
  // that are stored already, it must know first.
  bool KeepWhatFits(Portion& portion) {
    full_ = true;
    if (portion.check) attempts_.Ask(portion);
    return DropBeyondRoom(portion);
  }

  bool DropBeyondRoom(Portion& portion) {
    std::uint64_t room = 0;
    try {
      const auto [stored, allowed] = library_.Capacity();
      const std::uint64_t used = stored + previewed_;
      room = allowed > used ? allowed - used : 0;
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
    attempts_.Report(bad, UploadOutcome::kFailed, code);
    return !bad.files.empty();
  }

  // Takes the files out that are meant; a picture takes its memo along.
  template <typename IsMeant>
  static Portion TakeOut(Portion& portion, IsMeant isMeant) {
    Portion taken = portion;
    taken.files.clear();
    if (!HasMemo(portion.files)) {
      const auto rest =
          std::stable_partition(portion.files.begin(), portion.files.end(), std::not_fn(isMeant));
      std::move(rest, portion.files.end(), std::back_inserter(taken.files));
      portion.files.erase(rest, portion.files.end());
    } else if (isMeant(portion.files.front())) {
      taken.files.swap(portion.files);
    }
    return taken;
  }

  // The check would take these for the files that were stored just now.
  void SendRivals(Portion& portion) {
    Portion rivals =
        TakeOut(portion, [this](const LocalFile& file) { return attempts_.HasStoredTwinOf(file); });
    rivals.check = false;
    if (options_.dryRun) return Preview(std::move(rivals), Twin::kRival);
    Send(std::move(rivals));
  }

  // Pictures of one name have numbers where `get` has put them, and signs that no file may have are
  // written as others: "a (2).jpg" may be here what is "a.jpg" there.
  void LeaveOutRenamed(Portion& portion) {
    std::size_t most = 0;  // names of one file
    for (const LocalFile& file : portion.files)
      most = std::max(most, NamesBehind(file.path.filename().string()).size());
    for (std::size_t other = 0; other <= most && most != 0; ++other) {
      Portion asked =
          TakeOut(portion, [&](const LocalFile& file) { return MayBeThereAs(file, other); });
      if (!asked.files.empty()) attempts_.Ask(asked, other);
      std::ranges::move(asked.files, std::back_inserter(portion.files));
    }
  }

  // What this run has stored itself is no such picture.
  bool MayBeThereAs(LocalFile file, std::size_t other) const {
    const std::vector<std::string> names = NamesBehind(file.path.filename().string());
    if (other == 0 || other > names.size()) return other == 0 && !names.empty();
    const std::string& name = names[other - 1];
    if (name.find('/') != name.npos) return true;
    file.path.replace_filename(name);
    return !attempts_.HasStoredTwinOf(file);
  }

  // What the service would do with the portion.
  void Preview(Portion portion, Twin twin) {
    const std::uint32_t result = portion.check ? attempts_.Ask(portion).code : 0;
    if (portion.files.empty()) return;
    if (result != 0) {
      ended_ = result;
      return attempts_.Report(portion, UploadOutcome::kNotSent, ended_);
    }
    if (twin == Twin::kCopy) {
      const bool placed = !portion.name.Empty();
      return attempts_.Report(portion,
                              placed ? UploadOutcome::kPlaced : UploadOutcome::kAlreadyThere, 0);
    }
    DropBeyondRoom(portion);
    previewed_ += SizeOf(portion.files);
    attempts_.Report(portion, UploadOutcome::kStored, 0);
  }

  Library& library_;
  const UploadOptions& options_;
  UploadAttempts attempts_;
  std::size_t heldBefore_ = 0;
  unsigned failedInARow_ = 0;
  bool full_ = false;            // the storage
  std::uint64_t previewed_ = 0;  // bytes that a dry run would have stored
  std::uint32_t ended_ = 0;      // by which failure, 0: it goes on
};

// What has been written to since it was found goes as it is now. What can no longer go shows that
// when it is sent.
void BringUpToDate(LocalFile& file) {
  auto now = NowAt(file.path);
  if (!now) return;
  if (now->size > 0 && now->size <= kMaxFile) file = std::move(*now);
  AddPictureFacts(file);
}

}  // namespace

void SendPlan(Library& library, UploadPlan plan, const UploadOptions& options,
              const std::function<void(const UploadedFile&)>& report) {
  Sender sender(library, plan, options, report);
  std::vector<UploadPlan::Batch>& batches = plan.batches;
  // Reading pictures takes longer than anything else here, so it goes on while the batch before is
  // sent.
  const auto read = [&](std::size_t at) {
    if (at == batches.size() || sender.HasEnded()) return std::future<void>();
    return std::async([&files = batches[at].files] {
      for (LocalFile& file : files) BringUpToDate(file);
    });
  };
  std::future<void> reading = read(0);
  for (std::size_t at = 0; at < batches.size(); ++at) {
    if (reading.valid()) reading.get();
    reading = read(at + 1);
    sender.Send(std::move(batches[at]));
  }
}

}  // namespace kelo::host
