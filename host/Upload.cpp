// One upload command for each batch.
#include "Upload.h"

#include <fmt/format.h>

#include <algorithm>

#include "Names.h"
#include "Progress.h"
#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

using Batch = UploadPlan::Batch;

class Sender {
 public:
  Sender(Library& library, const UploadOptions& options,
         const std::function<void(const UploadedFile&)>& report)
      : library_(library), options_(options), report_(report) {}

  // False when the upload cannot go on.
  bool Send(Batch batch) {
    for (;;) {
      const std::uint32_t result = SendOnce(batch);
      if (result == kKELOResult_Aborted)
        throw CommandFailure("upload", result, kKELOCommand_Upload);
      if (result == kKELOResult_Success) return true;
      if (result == kKELOResult_NotFound && DropUnreadable(batch)) {
        if (batch.empty()) return true;
        continue;
      }
      ReportAll(batch, UploadOutcome::kFailed, result);
      return !EndsUpload(result);
    }
  }

  void ReportAll(const Batch& batch, UploadOutcome outcome, std::uint32_t code) {
    for (const LocalFile& file : batch) report_({file, outcome, code, {}});
  }

 private:
  static bool EndsUpload(std::uint32_t result) {
    constexpr std::uint32_t kEnding[] = {kKELOResult_NoSession, kKELOResult_TransportFailure,
                                         kKELOResult_TimedOut, kKELOResult_ConnectionLost,
                                         kKELOResult_NoSpace};
    return std::find(std::begin(kEnding), std::end(kEnding), result) != std::end(kEnding);
  }

  std::uint32_t SendOnce(const Batch& batch) {
    std::vector<std::string> paths;
    std::vector<std::string> names;
    for (const LocalFile& file : batch) {
      paths.push_back(file.path.string());
      names.push_back(Shown(file.path.filename().string()));
    }
    std::vector<tagKELO_LoadInfo> records(batch.size());
    for (std::size_t at = 0; at < batch.size(); ++at) {
      Fill(records[at], batch[at]);
      records[at].filePath = LentText(paths[at]);
    }
    const std::uint32_t result = [&] {
      const Progress progress(library_, names, "sending");
      return library_.Upload(options_.album, records, options_.check);
    }();
    if (result == kKELOResult_Success) ReportRecords(batch, records);
    return result;
  }

  void Fill(tagKELO_LoadInfo& record, const LocalFile& file) const {
    record.fileSize = static_cast<std::int32_t>(file.size);
    CopyText(record.fileModifyDate, file.modifyDate);
    CopyText(record.fileCreateDate, file.createDate);
    CopyText(record.shotDate, file.shotDate);
    record.width = file.width;
    record.height = file.height;
    CopyText(record.tagList, options_.tags);
  }

  void ReportRecords(const Batch& batch, const std::vector<tagKELO_LoadInfo>& records) const {
    // With the check, memos leave only when some picture of the batch does.
    bool pictureSent = !options_.check;
    for (std::size_t at = 0; at < batch.size(); ++at)
      pictureSent = pictureSent || (records[at].result == 0 && !IsSoundMemo(batch[at].path));
    for (std::size_t at = 0; at < batch.size(); ++at) {
      const std::string id(FieldText(records[at].itemId));
      const UploadOutcome outcome = records[at].result == 0 && !pictureSent
                                        ? UploadOutcome::kNotSent
                                        : Outcome(records[at].result, id);
      report_({batch[at], outcome, records[at].result, id});
    }
  }

  static UploadOutcome Outcome(std::uint32_t result, const std::string& id) {
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

  // Takes out, and reports, what cannot be read any more or has another size than planned; true
  // when there was any.
  bool DropUnreadable(Batch& batch) {
    const auto readable = [](const LocalFile& file) {
      try {
        return DescribeFile(file.path).size >= file.size;
      } catch (const Failure&) {
        return false;
      }
    };
    const auto dropped = std::stable_partition(batch.begin(), batch.end(), readable);
    const Batch bad(dropped, batch.end());
    batch.erase(dropped, batch.end());
    ReportAll(bad, UploadOutcome::kFailed, kKELOResult_NotFound);
    return !bad.empty();
  }

  Library& library_;
  const UploadOptions& options_;
  const std::function<void(const UploadedFile&)>& report_;
};

}  // namespace

std::string UploadedFile::Words() const {
  switch (outcome) {
    case UploadOutcome::kStored:
      return fmt::format("stored, {}", ByteText(file.size));
    case UploadOutcome::kAlreadyThere:
      return itemId.empty() ? "already there" : fmt::format("already there [{}]", Shown(itemId));
    case UploadOutcome::kAlreadyInAlbum:
      return fmt::format("already in the album [{}]", Shown(itemId));
    case UploadOutcome::kRefused:
      return ResultText(code, kKELOCommand_Upload);
    case UploadOutcome::kNotConfirmed:
      return "sent, but not confirmed by the service";
    case UploadOutcome::kNotSent:
      return code == 0 ? "not sent: a sound memo goes only with its picture" : "not sent";
    case UploadOutcome::kFailed:
      break;
  }
  return ResultText(code, kKELOCommand_Upload);
}

void SendPlan(Library& library, UploadPlan plan, const UploadOptions& options,
              const std::function<void(const UploadedFile&)>& report) {
  Sender sender(library, options, report);
  bool goingOn = true;
  for (Batch& batch : plan.batches) {
    if (!goingOn) {
      sender.ReportAll(batch, UploadOutcome::kNotSent, kKELOResult_GeneralFailure);
      continue;
    }
    for (LocalFile& file : batch) AddPictureFacts(file);
    goingOn = sender.Send(std::move(batch));
  }
}

}  // namespace kelo::host
