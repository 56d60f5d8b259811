// One upload command for each request, and what follows when it fails. Each lane sends one request
// after the other, and shares what it learns with the others.
#include "host/upload/Send.h"

#include <algorithm>
#include <future>
#include <map>
#include <optional>
#include <utility>

#include "host/library/Retries.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/upload/Pictures.h"
#include "host/upload/UploadTask.h"

namespace kelo::host {
namespace {

bool IsStored(const File* file) {
  return file->outcome == UploadOutcome::kStored;
}

// Or has become shorter.
bool IsUnreadable(const File* file) {
  const auto now = NowAt(file->path);
  return !now || now->size < file->size || !IsReadable(file->path);
}

// Its picture, or itself.
const File* WhatItGoesWith(const File& file) {
  return file.picture == nullptr ? &file : file.picture;
}

void Append(Files& files, const Files& more) {
  files.insert(files.end(), more.begin(), more.end());
}

// Takes the files out that are meant; all keep their order.
template <typename IsMeant>
Files TakeOut(Files& files, IsMeant isMeant) {
  const auto rest = std::stable_partition(files.begin(), files.end(), std::not_fn(isMeant));
  Files taken(rest, files.end());
  files.erase(rest, files.end());
  return taken;
}

struct Told {
  File* file = nullptr;
  bool counts = true;  // false: as one failure with another file
};

// What all lanes know.
struct Shared {
  Library& library;
  const SendOptions& options;
  InOrder<Told> told;
  std::optional<Progress> progress{};  // none in a dry run
  unsigned failedInARow = 0;           // in the order in which files are told
  bool full = false;                   // the storage
  std::uint64_t previewed = 0;         // bytes that a dry run would have stored
  std::uint32_t ended = 0;             // by which failure, 0: it goes on

  // More of those that were under way together may fail than would have failed one by one.
  void Count(const Told& of) {
    File& file = *of.file;
    if (file.Held()) failedInARow = 0;
    if (file.outcome != UploadOutcome::kFailed || !IsUnclear(file.code)) return;
    if (failedInARow == kMaxFailuresInARow)
      file.outcome = UploadOutcome::kNotSent;
    else if (of.counts && ++failedInARow == kMaxFailuresInARow)
      ended = file.code;
  }
};

class Sender {
 public:
  Sender(Shared& shared, Workers::Lane& lane) : shared_(shared), lane_(lane) {
    if (shared.progress) part_.emplace(*shared.progress);
  }

  void Send(UploadRequest request) {
    if (shared_.ended != 0) return Report(request.files, UploadOutcome::kNotSent, shared_.ended);
    const File& first = *request.files.front();
    request.tags = shared_.options.tags;
    try {
      if (!first.album.Empty()) request.albumId = shared_.options.albumId(first.album);
      if (request.check) DecideKnown(request);
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      EndIfHopeless(failure.Code());
      return Report(request.files, UploadOutcome::kNotSent, failure.Code());
    }
    if (request.check) SendNew(request);
    SendOrPreview(std::move(request));
  }

 private:
  // What the account holds by its bytes needs no question.
  void DecideKnown(UploadRequest& request) {
    Recognised().Recognise(request.files);
    for (File* file : request.files) KnowByOriginal(*file);
    const Files known = TakeOut(
        request.files, [](const File* file) { return !file->IsVoiceMemo() && file->isKnown; });
    for (File* file : known) SetThere(*file, request);
    PlaceAndReport(request, known);
  }

  // By one that this run has stored, or would. Both may have changed since they were compared.
  static bool IsCopyOfStored(const File& file) {
    return file.original != nullptr && IsStored(file.original) &&
           file.original->digest == file.digest;
  }

  static void KnowByOriginal(File& copy) {
    if (copy.isKnown || !IsCopyOfStored(copy)) return;
    copy.isKnown = true;
    copy.itemId = copy.original->itemId;
    copy.isCertain = copy.original->isCertain;
  }

  // With the check. What is to be sent without it is then the request.
  void SendNew(UploadRequest& request) {
    const Files memos = TakeOut(request.files, &File::IsVoiceMemo);
    AskByOtherNames(request);
    // Memos go with their pictures, and without the check. So the pictures are asked about first.
    if (!memos.empty() && AskUntilAnswered(request) == kKELOResult_Success)
      Append(others_, std::exchange(request.files, {}));
    SendOrPreview(request);
    DecideMemos(request, memos);
    request.check = false;
    request.files = std::exchange(others_, {});
    std::ranges::sort(request.files, {}, &File::place);
  }

  // Those of pictures that the account holds. The others go with theirs, or without.
  void DecideMemos(const UploadRequest& request, const Files& memos) {
    for (File* memo : memos) {
      try {
        if (memo->picture->Held() && IsThereToo(*memo)) SetThere(*memo, request);
      } catch (const Error& failure) {
        SetFailed(*memo, failure);
      }
      if (memo->outcome == UploadOutcome::kUndecided)
        others_.push_back(memo);
      else
        PlaceAndReport(request, {memo});
    }
  }

  // What it is cannot be found out.
  static void SetFailed(File& file, const Error& failure) {
    if (failure.Code() == kKELOResult_Aborted) throw Error(failure);
    file.outcome = UploadOutcome::kFailed;
    file.code = failure.Code();
  }

  // Whether the account holds the memo of a picture that it holds, or would hold.
  bool IsThereToo(File& memo) {
    KnowByOriginal(memo);
    return memo.isKnown || Recognised().IsThereToo(memo, memo.picture->itemId);
  }

  void SetThere(File& file, const UploadRequest& request) const {
    file.outcome =
        IsInAlbum(file, request) ? UploadOutcome::kAlreadyInAlbum : UploadOutcome::kAlreadyThere;
  }

  bool IsInAlbum(const File& file, const UploadRequest& request) const {
    if (file.album.Empty()) return false;
    // The account was loaded before this run stored anything.
    const File* const original = file.original;
    if (original != nullptr && IsStored(original) && original->itemId == file.itemId)
      return original->album == file.album;
    return Recognised().IsInAlbum(file, request.albumId);
  }

  Recognition& Recognised() const { return shared_.options.recognition; }

  void SendOrPreview(UploadRequest request) {
    if (request.files.empty()) return;
    if (shared_.options.dryRun) return Preview(std::move(request));
    if (!request.check) TakeStored(request);
    if (shared_.full) KeepWhatFits(request);
    SendUntilDecided(std::move(request));
  }

  void SendUntilDecided(UploadRequest request) {
    if (shared_.ended != 0) return Report(request.files, UploadOutcome::kNotSent, shared_.ended);
    for (unsigned failed = 1; !request.files.empty(); ++failed) {
      LeaveOrphans(request);
      if (!request.check) TakeStored(request);
      if (request.files.empty()) return;
      const auto [result, mayPass] = Try(request);
      if (request.files.empty()) return;
      if (result == kKELOResult_NotFound && Drop(request, IsUnreadable, result)) continue;
      if (result == kKELOResult_NoSpace && KeepWhatFits(request)) continue;
      if (IsUnclear(result)) {
        // A request in which the bad file is searched for is halved at once.
        const bool retries = mayPass && (!request.searching || request.files.size() == 1);
        if (retries && Pause(failed, result)) continue;
        if (!request.check) TakeStored(request);
        if (request.files.empty()) return;
      }
      EndIfHopeless(result);
      if (shared_.ended != 0) return Report(request.files, UploadOutcome::kNotSent, shared_.ended);
      if (request.files.size() == 1) return Fail(request, result);
      return Halve(std::move(request));
    }
  }

  // Of what may be stored without the check, the account itself tells. Without it nobody does.
  void TakeStored(UploadRequest& request) {
    Files sent = request.files;
    std::erase_if(sent, [](const File* file) { return !file->maybeSent; });
    if (sent.empty()) return;
    std::uint32_t failed = 0;
    try {
      Recognised().FindStored(sent, request.albumId);
    } catch (const Error& failure) {
      failed = failure.Code();
    }
    PlaceAndReport(request, TakeOut(request.files, IsStored));
    if (failed == kKELOResult_Aborted) throw Error("upload", failed, kKELOCommand_Upload);
    if (failed == 0) return;
    EndIfHopeless(failed);
    Report(std::exchange(request.files, {}), UploadOutcome::kNotConfirmed, 0);
  }

  // Files whose outcome is then known are reported and leave the request; those that the service
  // held already are put into the album first.
  UploadAnswer Try(UploadRequest& request, bool checkOnly = false, size_t other = 0) {
    if (part_ && !checkOnly) {
      Announce(request.files, *part_);
      Recognised().SetOut(request.files);
    }
    const UploadAnswer answer =
        PerformThere(lane_, shared_.library, request,
                     part_ ? OnProgress(std::ref(*part_)) : OnProgress(), checkOnly, other);
    Files decided = TakeOut(
        request.files, [](const File* file) { return file->outcome != UploadOutcome::kUndecided; });
    // `get` has not numbered what this run has stored itself.
    if (other != 0)
      Append(request.files,
             Undecided(TakeOut(
                 decided,
                 [this](const File* file) { return Recognised().IsOfThisRun(file->itemId); })));
    Append(others_, Undecided(TakeOut(decided, [this](File* file) { return IsOther(*file); })));
    PlaceAndReport(request, decided);
    if (answer.code == kKELOResult_Aborted) throw Error("upload", answer.code, kKELOCommand_Upload);
    return answer;
  }

  static Files Undecided(Files files) {
    for (File* file : files) {
      file->outcome = UploadOutcome::kUndecided;
      file->itemId.clear();
      file->isCertain = true;
    }
    return files;
  }

  // The service has taken the file for an item with other bytes. So it may have one that counts as
  // stored since the check has found it behind its request: of what a dead worker had, some was not
  // to be sent.
  bool IsOther(File& file) {
    const bool isTaken = file.outcome == UploadOutcome::kAlreadyThere ||
                         file.outcome == UploadOutcome::kAlreadyInAlbum ||
                         (IsStored(&file) && file.code != 0);
    try {
      return isTaken && !Recognised().IsMeant(file);
    } catch (const Error& failure) {
      SetFailed(file, failure);
      return false;
    }
  }

  void PlaceAndReport(const UploadRequest& request, const Files& decided) {
    Place(shared_.library, request, decided, shared_.options.dryRun);
    if (!shared_.options.dryRun) Recognised().Keep(decided);
    for (File* file : decided) Report(*file);
  }

  UploadAnswer Ask(UploadRequest& request, size_t other = 0) { return Try(request, true, other); }

  bool Pause(unsigned& failed, std::uint32_t result) {
    return lane_.Aside([&] { return shared_.library.PauseBeforeRetry(failed, result); });
  }

  void Report(File& file, bool counts = true) {
    if (part_) part_->Over(1, file.size);
    shared_.told.Tell(file.place, {.file = &file, .counts = counts});
  }

  void Report(const Files& files, UploadOutcome outcome, std::uint32_t code) {
    for (File* file : files) {
      file->outcome = outcome;
      file->code = code;
      Report(*file, file == files.front());
    }
  }

  void Fail(const UploadRequest& request, std::uint32_t code) {
    Report(request.files, UploadOutcome::kFailed, code);
  }

  // The next request would meet the same failure.
  void EndIfHopeless(std::uint32_t result) {
    if (IsHopeless(shared_.library, result)) shared_.ended = result;
  }

  void Halve(UploadRequest request) {
    request.searching = true;
    UploadRequest rest = request;
    // A memo stays with its picture, unless they are alone.
    auto half = request.files.begin() + static_cast<std::ptrdiff_t>(request.files.size() / 2);
    while (half != request.files.end() && WhatItGoesWith(**half) == WhatItGoesWith(**(half - 1)))
      ++half;
    if (half == request.files.end()) half = request.files.begin() + 1;
    rest.files.assign(half, request.files.end());
    request.files.erase(half, request.files.end());
    SendUntilDecided(std::move(request));
    SendUntilDecided(std::move(rest));
  }

  // Memos whose pictures did not go.
  void LeaveOrphans(UploadRequest& request) {
    Report(TakeOut(
               request.files,
               [](const File* file) {
                 return file->picture != nullptr &&
                        file->picture->outcome != UploadOutcome::kUndecided &&
                        !file->picture->Held();
               }),
           UploadOutcome::kNotSent, 0);
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
    shared_.full = true;
    if (request.check) Ask(request);
    return DropBeyondRoom(request);
  }

  bool DropBeyondRoom(UploadRequest& request) {
    std::uint64_t room = 0;
    try {
      const auto [stored, allowed] = shared_.library.Capacity();
      room = allowed - std::min(allowed, stored + shared_.previewed);
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      return false;
    }
    std::map<const File*, std::uint64_t> sizes;  // of pictures, with their memos
    for (const File* file : request.files) sizes[WhatItGoesWith(*file)] += file->size;
    const auto isBeyond = [&](const File* file) {
      std::uint64_t& size = sizes[WhatItGoesWith(*file)];
      if (size > room) return true;
      room -= std::exchange(size, 0);
      return false;
    };
    return Drop(request, isBeyond, kKELOResult_NoSpace);
  }

  // `get` numbers pictures of one name, and writes characters that a file name cannot have as in
  // URLs: "a (2).jpg" here may be "a.jpg" in the account.
  void AskByOtherNames(UploadRequest& request) {
    size_t most = 0;  // names of one file
    for (const File* file : request.files) most = std::max(most, NamesBehind(file->Name()).size());
    UploadRequest asked = request;
    for (size_t other = 0; other <= most && most != 0; ++other) {
      asked.files = TakeOut(request.files, [other](const File* file) {
        const size_t names = NamesBehind(file->Name()).size();
        return names > 0 && other <= names;
      });
      AskUntilAnswered(asked, other);
      Append(request.files, asked.files);
    }
  }

  // Without an answer, what is there would be sent once more. Gives the result; a refused question
  // tells nothing.
  std::uint32_t AskUntilAnswered(UploadRequest& request, size_t other = 0) {
    for (unsigned failed = 1; !request.files.empty(); ++failed) {
      const auto [result, mayPass] = Ask(request, other);
      if (!IsUnclear(result)) return result;
      if (mayPass && Pause(failed, result)) continue;
      EndIfHopeless(result);
      Fail(request, result);
      request.files.clear();
    }
    return kKELOResult_Success;
  }

  // What the service would do with the request.
  void Preview(UploadRequest request) {
    LeaveOrphans(request);
    const std::uint32_t result = request.check ? Ask(request).code : 0;
    if (request.files.empty()) return;
    if (result != 0) {
      shared_.ended = result;
      return Report(request.files, UploadOutcome::kNotSent, shared_.ended);
    }
    DropBeyondRoom(request);
    shared_.previewed += SizeOf(request.files);
    Report(request.files, UploadOutcome::kStored, 0);
  }

  Shared& shared_;
  Workers::Lane& lane_;
  std::optional<Progress::Part> part_;
  Files others_;  // which the service takes for items with other bytes
};

bool IsCopy(const UploadRequest& request) {
  return request.files.front()->original != nullptr;
}

void SendAll(Shared& shared, Workers& workers, const std::vector<UploadRequest>& requests) {
  // Reading pictures takes longer than anything else here, so it goes on while others are sent.
  std::vector<std::future<void>> reading;
  reading.reserve(requests.size());  // they stay where they are
  const auto readUntil = [&](size_t end) {
    while (reading.size() < std::min(end, requests.size()) && shared.ended == 0)
      reading.push_back(
          std::async([&files = requests[reading.size()].files] { ReadPictureFacts(files); }));
  };
  for (size_t next = 0; next < requests.size();) {
    // The copies go when all others have gone.
    const bool areCopies = IsCopy(requests[next]);
    auto end = next;
    while (end < requests.size() && IsCopy(requests[end]) == areCopies) ++end;
    workers.Run(end - next, [&](Workers::Lane& lane) {
      try {
        for (Sender sender(shared, lane); next < end;) {
          const size_t at = next++;
          readUntil(at + 1 + workers.Most());
          if (at < reading.size()) lane.Aside([&mine = reading[at]] { mine.get(); });
          sender.Send(requests[at]);
        }
      } catch (...) {
        next = end;  // for the others, too
        throw;
      }
    });
  }
}

}  // namespace

void SendFiles(Library& library, Workers& workers, const UploadPlan& plan,
               const SendOptions& options, const std::function<void(const File&)>& report) {
  Shared shared{
      .library = library, .options = options, .told = {plan.files.size(), [&](const Told& told) {
                                                         shared.Count(told);
                                                         report(*told.file);
                                                       }}};
  if (!options.dryRun)
    shared.progress.emplace(
        library.Out(),
        Job{.doing = "sending", .files = plan.files.size(), .bytes = SizeOf(plan.files)});
  try {
    SendAll(shared, workers, plan.requests);
  } catch (...) {
    shared.told.TellRest();
    throw;
  }
}

}  // namespace kelo::host
