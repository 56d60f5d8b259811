// Filling and reading the records of an upload.
#include "host/upload/UploadRequest.h"

#include <algorithm>

#include "host/account/Names.h"
#include "host/library/Records.h"

namespace kelo::host {
namespace {

using Records = std::vector<tagKELO_LoadInfo>;

void Fill(tagKELO_LoadInfo& record, const LocalFile& file, const std::string& tags) {
  record.fileSize = static_cast<std::int32_t>(file.size);
  CopyText(record.fileModifyDate, file.modifyDate);
  CopyText(record.fileCreateDate, file.createDate);
  CopyText(record.shotDate, file.shotDate);
  record.width = file.width;
  record.height = file.height;
  CopyText(record.tagList, tags);
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

// After a success every file is decided, after a failure those that the check decided before.
UploadAnswer Read(const UploadRequest& request, const std::vector<LocalFile>& files,
                  std::uint32_t result, const Records& records) {
  UploadAnswer answer{.result = result, .checked = !request.check, .files = {}};
  // With the check, memos leave only when some picture does.
  bool pictureSent = !request.check;
  for (std::size_t at = 0; at < files.size(); ++at) {
    answer.checked |= records[at].result != result;
    pictureSent |= records[at].result == 0 && !IsSoundMemo(files[at].path);
  }
  for (const tagKELO_LoadInfo& record : records) {
    FileAnswer& file = answer.files.emplace_back();
    file.decided = result == kKELOResult_Success || (record.result != 0 && record.result != result);
    file.itemId = FieldText(record.itemId);
    file.code = record.result;
    file.outcome = record.result == 0 && !pictureSent ? UploadOutcome::kNotSent
                                                      : OutcomeOf(record.result, file.itemId);
  }
  return answer;
}

}  // namespace

UploadAnswer Perform(Library& library, const UploadRequest& request,
                     const std::vector<LocalFile>& files) {
  std::vector<std::string> names;
  names.reserve(files.size());
  for (const LocalFile& file : files) {
    names.push_back(file.path.filename().string());
    if (request.numberless) names.back() = WithoutNumber(names.back());
  }
  Records records(files.size());
  for (std::size_t at = 0; at < files.size(); ++at) {
    Fill(records[at], files[at], request.tags);
    // Lent like every text: the path's own bytes. A file without a path cannot be read, which the
    // library finds between the check and the sending: so nothing is sent.
    if (!request.checkOnly) records[at].filePath = LentText(files[at].path.native());
    records[at].fileName = LentText(names[at]);
  }
  const std::uint32_t result = library.Upload(request.album, records, request.check);
  UploadAnswer answer = Read(request, files, result, records);
  answer.mayPass = library.FailureMayPass();
  if (request.checkOnly && answer.checked && result == kKELOResult_NotFound)
    answer.result = kKELOResult_Success;
  return answer;
}

}  // namespace kelo::host
