// Sends one upload command, and turns its answer into the outcomes of the files.
#include "host/upload/UploadRequest.h"

#include <functional>
#include <utility>

#include "host/library/Retries.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

std::vector<UploadFile> Described(const UploadRequest& request, size_t other) {
  std::vector<UploadFile> described;
  for (const File* file : request.files) {
    std::string name = file->Name();
    if (other != 0)
      if (const auto others = NamesBehind(name); other <= others.size()) name = others[other - 1];
    described.push_back({.path = file->path,
                         .name = std::move(name),
                         .size = file->size,
                         .modifyDate = file->modifyDate,
                         // A file system's creation time is that of the copy, and would make a
                         // restored or copied file look new to the duplicate check. The
                         // modification time goes along with copies.
                         .createDate = file->modifyDate,
                         .shotDate = file->shotDate,
                         .width = file->width,
                         .height = file->height,
                         .tags = request.tags});
  }
  return described;
}

// Whether the file is not what was described any more. One that is gone has gone whole.
bool HasChanged(const File& file) {
  const auto now = NowAt(file.path);
  return now && (now->size != file.size || now->modifyDate != file.modifyDate);
}

UploadOutcome OutcomeOf(const File& file, const UploadRequest& request) {
  switch (file.code) {
    case kKELOResult_Success:
      if (file.itemId.empty()) return UploadOutcome::kNotConfirmed;
      break;
    // What may have been sent is there because it was; then it is in the album, too.
    case kKELOResult_AlreadyExists:
      if (!file.maybeSent || !request.albumId.empty()) return UploadOutcome::kAlreadyThere;
      break;
    case kKELOResult_AlreadyInAlbum:
      if (!file.maybeSent) return UploadOutcome::kAlreadyInAlbum;
      break;
    default:
      return UploadOutcome::kFailed;
  }
  return HasChanged(file) ? UploadOutcome::kChanged : UploadOutcome::kStored;
}

// Writes into each file what was told of it. `answer` is that of the whole.
void Decide(const UploadRequest& request, bool checkOnly, bool mayBeStored,
            const UploadAnswer& answer, std::vector<UploadedFile> told) {
  // After a success every file is decided, but for those that a check alone would send; after a
  // failure those that the check decided before.
  const bool isOver = answer.code == kKELOResult_Success && !checkOnly;
  for (size_t at = 0; at < told.size(); ++at) {
    File& file = *request.files[at];
    const auto& error = told[at].error;
    if (!isOver && (!error || error->Code() == answer.code)) {
      file.maybeSent |= mayBeStored && !checkOnly;
      continue;
    }
    file.code = error ? error->Code() : std::uint32_t{kKELOResult_Success};
    file.itemId = std::move(told[at].id);
    file.outcome = OutcomeOf(file, request);
  }
}

}  // namespace

UploadAnswer Perform(Library& library, const UploadRequest& request, const OnProgress& progress,
                     bool checkOnly, size_t other) {
  UploadAnswer answer;
  std::vector<UploadedFile> told;
  bool mayBeStored = false;
  try {
    told = library.Upload(request.albumId, Described(request, other),
                          {.checkDuplicates = request.check,
                           .checkOnly = checkOnly,
                           // Nobody knows the creation date of a file that was copied or restored.
                           .comparedDates = kKELOCheck_FileModifyDate | kKELOCheck_ShotDate},
                          progress);
  } catch (const UploadError& failure) {
    answer.code = failure.Code();
    mayBeStored = failure.MayBeStored();
    told = failure.Files();
  } catch (const Error& failure) {  // the session has ended, and no other could be opened
    const bool isAborted = failure.Code() == kKELOResult_Aborted;
    answer.code = isAborted ? kKELOResult_Aborted : kKELOResult_NoSession;
    return answer;
  }
  answer.mayPass = library.FailureMayPass();
  Decide(request, checkOnly, mayBeStored, answer, std::move(told));
  return answer;
}

bool IsHopeless(Library& library, std::uint32_t result) {
  if (result == kKELOResult_NoSession) return true;
  if (!IsUnclear(result)) return false;
  try {
    library.Capacity();
    return false;
  } catch (const Error& failure) {
    if (failure.Code() == kKELOResult_Aborted) throw;
    return IsUnclear(failure.Code());
  }
}

void Place(Library& library, const UploadRequest& request, const Files& files, bool dryRun) {
  Files placed;
  std::vector<std::string> ids;
  for (File* file : files) {
    const bool isElsewhere = file->outcome == UploadOutcome::kAlreadyThere;
    if (file->album.Empty() || !isElsewhere || (file->itemId.empty() && !dryRun)) continue;
    ids.push_back(file->itemId);
    placed.push_back(file);
  }
  std::vector<AddedLink> links(ids.size());
  try {
    if (!dryRun) links = library.AddLinks(request.albumId, ids);
  } catch (const Error& failure) {
    links.assign(ids.size(), {failure});
  }
  for (size_t at = 0; at < placed.size(); ++at) {
    const auto& error = links[at].error;
    placed[at]->code = error ? error->Code() : 0;
    placed[at]->outcome = error ? UploadOutcome::kNotPlaced : UploadOutcome::kPlaced;
  }
}

}  // namespace kelo::host
