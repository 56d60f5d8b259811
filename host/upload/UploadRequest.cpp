// From local files to the library's, and from its answers to outcomes.
#include "host/upload/UploadRequest.h"

#include <algorithm>
#include <functional>

#include "host/names/Names.h"

namespace kelo::host {
namespace {

std::vector<UploadFile> Described(const UploadRequest& request,
                                  const std::vector<LocalFile>& files) {
  std::vector<UploadFile> described;
  for (const LocalFile& file : files) {
    std::string name = file.path.filename().string();
    if (request.other != 0)
      if (const auto others = NamesBehind(name); request.other <= others.size())
        name = others[request.other - 1];
    described.push_back({.path = file.path,
                         .name = std::move(name),
                         .size = file.size,
                         .modifyDate = file.modifyDate,
                         .createDate = file.createDate,
                         .shotDate = file.shotDate,
                         .width = file.width,
                         .height = file.height,
                         .tags = request.tags});
  }
  return described;
}

UploadOutcome OutcomeOf(std::uint32_t result, const std::string& id) {
  switch (result) {
    case kKELOResult_Success:
      return id.empty() ? UploadOutcome::kNotConfirmed : UploadOutcome::kStored;
    case kKELOResult_AlreadyExists:
      return UploadOutcome::kAlreadyThere;
    case kKELOResult_AlreadyInAlbum:
      return UploadOutcome::kAlreadyInAlbum;
    case kKELOResult_InvalidTarget:
      return UploadOutcome::kRefused;
    default:
      return UploadOutcome::kFailed;
  }
}

}  // namespace

UploadAnswer Perform(Library& library, const UploadRequest& request,
                     const std::vector<LocalFile>& files, Progress* progress) {
  UploadAnswer answer{.checked = true, .files = {}};
  std::vector<kelo::UploadedFile> uploaded;
  try {
    uploaded =
        library.Upload(request.album, Described(request, files),
                       {.checkDuplicates = request.check,
                        .checkOnly = request.checkOnly,
                        // Nobody knows the creation date of a file that was copied or restored.
                        .comparedDates = kKELOCheck_FileModifyDate | kKELOCheck_ShotDate},
                       progress == nullptr ? OnProgress() : OnProgress(std::ref(*progress)));
  } catch (const UploadError& failure) {
    answer.result = failure.Code();
    answer.checked = failure.MayBeStored();
    uploaded = failure.Files();
  }
  answer.mayPass = library.FailureMayPass();
  // With the check, memos leave only when some picture does.
  bool pictureSent = !request.check;
  for (std::size_t at = 0; at < files.size(); ++at)
    pictureSent |= !uploaded[at].error && !IsSoundMemo(files[at].path);
  // After a success every file is decided, but for those that a check alone would send; after a
  // failure those that the check decided before.
  const bool isOver = answer.result == kKELOResult_Success && !(request.checkOnly && pictureSent);
  for (kelo::UploadedFile& one : uploaded) {
    FileAnswer& file = answer.files.emplace_back();
    file.code = one.error ? one.error->Code() : std::uint32_t{kKELOResult_Success};
    file.decided = isOver || (one.error && file.code != answer.result);
    file.itemId = std::move(one.id);
    file.outcome =
        !one.error && !pictureSent ? UploadOutcome::kNotSent : OutcomeOf(file.code, file.itemId);
  }
  return answer;
}

}  // namespace kelo::host
