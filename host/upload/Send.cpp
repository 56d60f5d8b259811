// Sends the requests one after the other, and decides what to do when one fails.
#include "host/upload/Send.h"

#include <algorithm>
#include <future>
#include <optional>
#include <unordered_set>
#include <utility>

#include "host/library/Retries.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/upload/Pictures.h"

namespace kelo::host {
namespace {

// So many files fail one after the other only where it is not for the files.
constexpr unsigned kMaxFailuresInARow = 5;

bool HasMemo(const Files& files) {
  return std::ranges::any_of(files, &File::IsVoiceMemo);
}

bool IsStored(const File* file) {
  return file->outcome == UploadOutcome::kStored;
}

// Or has become shorter.
bool IsUnreadable(const File* file) {
  const auto now = NowAt(file->path);
  return !now || now->size < file->size;
}

// Takes the files out that are meant; all keep their order.
template <typename IsMeant>
Files TakeOut(Files& files, IsMeant isMeant) {
  const auto rest = std::stable_partition(files.begin(), files.end(), std::not_fn(isMeant));
  Files taken(rest, files.end());
  files.erase(rest, files.end());
  return taken;
}

// The same, but that a picture takes its memo along.
template <typename IsMeant>
Files TakeOutWhole(Files& files, IsMeant isMeant) {
  if (!HasMemo(files)) return TakeOut(files, isMeant);
  return isMeant(files.front()) ? std::exchange(files, {}) : Files();
}

class Sender {
 public:
  Sender(Library& library, const UploadPlan& plan, const SendOptions& options,
         const std::function<void(const File&)>& report)
      : library_(library), options_(options), report_(report) {
    if (!options.dryRun)
      progress_.emplace(library.Out(),
                        Job{.doing = "sending", .files = plan.FileCount(), .bytes = plan.Bytes()});
  }

  void Send(UploadRequest request) {
    if (ended_ != 0) return Report(request.files, UploadOutcome::kNotSent, ended_);
    const File& first = *request.files.front();
    const Duplicate duplicate = first.duplicate;  // all are
    request.tags = options_.tags;
    try {
      if (!first.album.Empty()) request.albumId = options_.albumId(first.album);
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      EndIfHopeless(failure.Code());
      return Fail(request, failure.Code(), UploadOutcome::kNotSent);
    }
    if (duplicate == Duplicate::kLookalike) SendLookalikes(request);
    if (request.check) AskByOtherNames(request);
    if (request.files.empty()) return;
    if (options_.dryRun) return Preview(std::move(request), duplicate);
    if (full_) KeepWhatFits(request);
    SendUntilDecided(std::move(request));
  }

  // No further request will be sent.
  bool HasEnded() const { return ended_ != 0; }

 private:
  void SendUntilDecided(UploadRequest request) {
    if (ended_ != 0) return Report(request.files, UploadOutcome::kNotSent, ended_);
    for (unsigned failed = 1; !request.files.empty(); ++failed) {
      const auto [result, mayPass] = Try(request);
      if (request.files.empty()) return;
      if (result == kKELOResult_NotFound && Drop(request, IsUnreadable, result)) continue;
      if (result == kKELOResult_NoSpace && KeepWhatFits(request)) continue;
      if (IsUnclear(result)) {
        // Memos alone cannot be asked about: nobody would know whether they are stored.
        if (std::ranges::all_of(request.files, &File::IsVoiceMemo)) return Fail(request, result);
        request.check = true;
        // A request in which the bad file is searched for is halved at once.
        const bool retries = mayPass && (!request.searching || request.files.size() == 1);
        if (retries && library_.PauseBeforeRetry(failed, result)) continue;
      }
      EndIfHopeless(result);
      if (ended_ != 0) return Report(request.files, UploadOutcome::kNotSent, ended_);
      if (request.files.size() == 1) return Fail(request, result);
      return Halve(std::move(request));
    }
  }

  // Files whose outcome is then known are reported and leave the request; those that the service
  // held already are put into the album first.
  UploadAnswer Try(UploadRequest& request, bool checkOnly = false, size_t other = 0) {
    const UploadAnswer answer =
        Perform(library_, request, progress_ ? &*progress_ : nullptr, checkOnly, other);
    const Files decided = TakeOut(
        request.files, [](const File* file) { return file->outcome != UploadOutcome::kUndecided; });
    Place(library_, request, decided, options_.dryRun);
    for (const File* file : decided) Report(*file);
    if (answer.code == kKELOResult_Aborted) throw Error("upload", answer.code, kKELOCommand_Upload);
    return answer;
  }

  UploadAnswer Ask(UploadRequest& request, size_t other = 0) { return Try(request, true, other); }

  void Report(const File& file) {
    if (file.Held()) failedInARow_ = 0;
    if (IsStored(&file)) stored_.insert(CheckKey(file, file.Name()));
    if (progress_) progress_->Over(1, file.size);
    report_(file);
  }

  void Report(const Files& files, UploadOutcome outcome, std::uint32_t code) {
    for (File* file : files) {
      file->outcome = outcome;
      file->code = code;
      Report(*file);
    }
  }

  void Fail(const UploadRequest& request, std::uint32_t code,
            UploadOutcome outcome = UploadOutcome::kFailed) {
    Report(request.files, outcome, code);
    if (IsUnclear(code) && ++failedInARow_ == kMaxFailuresInARow) ended_ = code;
  }

  // The next request would meet the same failure.
  void EndIfHopeless(std::uint32_t result) {
    if (result == kKELOResult_NoSession || (IsUnclear(result) && !ServiceAnswers()))
      ended_ = result;
  }

  // Tells a service that refuses this request from one that cannot be reached.
  bool ServiceAnswers() {
    try {
      library_.Capacity();
      return true;
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return !IsUnclear(failure.Code());
    }
  }

  void Halve(UploadRequest request) {
    request.searching = true;
    UploadRequest rest = request;
    const bool isPair = request.check && HasMemo(request.files);
    if (isPair) {
      // A memo goes with its picture, or behind it.
      rest.files = TakeOut(request.files, &File::IsVoiceMemo);
      rest.check = false;
    } else {
      const size_t half = request.files.size() / 2;
      rest.files.erase(rest.files.begin(), rest.files.begin() + static_cast<std::ptrdiff_t>(half));
      request.files.resize(half);
    }
    const Files before = request.files;
    SendUntilDecided(std::move(request));
    if (isPair && std::ranges::none_of(before, IsStored))
      return Report(rest.files, UploadOutcome::kNotSent, ended_);
    SendUntilDecided(std::move(rest));
  }

  // Takes out, and reports, what is bad; true when there was any.
  template <typename IsBad>
  bool Drop(UploadRequest& request, IsBad isBad, std::uint32_t code) {
    const Files bad = TakeOut(request.files, isBad);
    Report(bad, UploadOutcome::kFailed, code);
    return !bad.empty();
  }

  // Drops what the storage has no room for. Of files that are stored already, it must know first.
  bool KeepWhatFits(UploadRequest& request) {
    full_ = true;
    if (request.check) Ask(request);
    return DropBeyondRoom(request);
  }

  bool DropBeyondRoom(UploadRequest& request) {
    std::uint64_t room = 0;
    try {
      const auto [stored, allowed] = library_.Capacity();
      room = allowed - std::min(allowed, stored + previewed_);
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return false;
    }
    // A pair goes together or not at all.
    const bool whole = request.check && HasMemo(request.files);
    const std::uint64_t all = SizeOf(request.files);
    const auto isBeyond = [&](const File* file) {
      if (whole) return all > room;
      if (file->size > room) return true;
      room -= file->size;
      return false;
    };
    return Drop(request, isBeyond, kKELOResult_NoSpace);
  }

  // The check would take these for the files that were stored just now.
  void SendLookalikes(UploadRequest& request) {
    UploadRequest unchecked = request;
    unchecked.check = false;
    unchecked.files = TakeOutWhole(request.files, [this](const File* file) {
      return stored_.contains(CheckKey(*file, file->Name()));
    });
    if (options_.dryRun) return Preview(std::move(unchecked), Duplicate::kLookalike);
    SendUntilDecided(std::move(unchecked));
  }

  // `get` numbers pictures of one name, and writes characters that a file name cannot have as in
  // URLs: "a (2).jpg" here may be "a.jpg" in the account.
  void AskByOtherNames(UploadRequest& request) {
    size_t most = 0;  // names of one file
    for (const File* file : request.files) most = std::max(most, NamesBehind(file->Name()).size());
    UploadRequest asked = request;
    for (size_t other = 0; other <= most && most != 0; ++other) {
      asked.files =
          TakeOutWhole(request.files, [&](const File* file) { return MayBeThereAs(*file, other); });
      if (!asked.files.empty()) Ask(asked, other);
      request.files.insert(request.files.end(), asked.files.begin(), asked.files.end());
    }
  }

  // What this run has stored itself is no such picture.
  bool MayBeThereAs(const File& file, size_t other) const {
    const std::vector<std::string> names = NamesBehind(file.Name());
    if (other == 0 || other > names.size()) return other == 0 && !names.empty();
    const std::string& name = names[other - 1];
    return name.find('/') != name.npos || !stored_.contains(CheckKey(file, name));
  }

  // What the service would do with the request.
  void Preview(UploadRequest request, Duplicate duplicate) {
    const std::uint32_t result = request.check ? Ask(request).code : 0;
    if (request.files.empty()) return;
    if (result != 0) {
      ended_ = result;
      return Report(request.files, UploadOutcome::kNotSent, ended_);
    }
    if (duplicate == Duplicate::kCopy) {
      const bool placed = !request.files.front()->album.Empty();
      return Report(request.files, placed ? UploadOutcome::kPlaced : UploadOutcome::kAlreadyThere,
                    0);
    }
    DropBeyondRoom(request);
    previewed_ += SizeOf(request.files);
    Report(request.files, UploadOutcome::kStored, 0);
  }

  Library& library_;
  const SendOptions& options_;
  const std::function<void(const File&)>& report_;
  std::optional<Progress> progress_;        // none in a dry run
  std::unordered_set<std::string> stored_;  // the keys of what was stored
  unsigned failedInARow_ = 0;
  bool full_ = false;            // the storage
  std::uint64_t previewed_ = 0;  // bytes that a dry run would have stored
  std::uint32_t ended_ = 0;      // by which failure, 0: it goes on
};

}  // namespace

void SendFiles(Library& library, const UploadPlan& plan, const SendOptions& options,
               const std::function<void(const File&)>& report) {
  Sender sender(library, plan, options, report);
  const std::vector<UploadRequest>& requests = plan.requests;
  // Reading pictures takes longer than anything else here, so it goes on while the request before
  // is sent.
  const auto read = [&](size_t at) {
    if (at == requests.size() || sender.HasEnded()) return std::future<void>();
    return std::async([&files = requests[at].files] { LookAtPictures(files); });
  };
  std::future<void> reading = read(0);
  for (size_t at = 0; at < requests.size(); ++at) {
    if (reading.valid()) reading.get();
    reading = read(at + 1);
    sender.Send(requests[at]);
  }
}

}  // namespace kelo::host
