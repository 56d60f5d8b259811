// The download command: one file after another, each into a path that the host names.

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"

namespace kelo {
namespace {

// Failures of one file, which do not end the batch.
bool ContinuesAfter(uint32_t result) {
  return result == kKELOResult_Success || result == kKELOResult_NotFound ||
         result == kKELOResult_AlreadyExists || result == kKELOResult_DestinationUnusable;
}

}  // namespace

uint32_t KELOAccessCommandController::ProcessDownload(tagCommandControlInfo* info) {
  auto records = LoadRecords<tagKELO_DownloadInfo>(info->data, info->entryCount);
  ResetProgress();
  if (records.empty()) return kKELOResult_Success;
  for (tagKELO_DownloadInfo& record : records) {
    record.result = kKELOResult_Success;
    record.receivedSize = 0;
  }
  progress_.itemCount = static_cast<uint32_t>(records.size());
  const uint32_t result = DownloadItems(records);
  StoreRecords(info->data, records);
  ResetProgress();
  return result;
}

uint32_t KELOAccessCommandController::DownloadItems(std::vector<tagKELO_DownloadInfo>& records) {
  uint32_t result = kKELOResult_Success;
  for (tagKELO_DownloadInfo& record : records) {
    if (ContinuesAfter(result)) {
      result = httpController_->HTTPFileDownload(std::string(ReadTextField(record.url)),
                                                 KELOStringInfoToString(record.destPath),
                                                 record.receivedSize, kRequestTimeout);
    }
    record.result = result;
    ++progress_.fourthWord;
  }
  // Deliberately the result of the last file alone; each record tells its own.
  if (result == kKELOResult_Success)
    Callback_DownloadProgress("", progress_.transferDone, progress_.transferTotal);
  return result;
}

}  // namespace kelo
