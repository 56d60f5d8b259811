// The upload command: the host's files in one multipart request, whose first part is the signed
// document that describes them.

#include <algorithm>
#include <limits>

#include "commands/UploadItemText.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "platform/AbortSignal.h"
#include "protocol/RequestDocument.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

// Deliberately constant: the service expects it.
constexpr std::string_view kPartOpening = "--BOUNDARY\r\n";
constexpr std::string_view kBodyEnd = "\r\n--BOUNDARY--\r\n";

constexpr std::string_view kDocumentPartHeader =
    "Content-Disposition: form-data; name=\"XML\"\r\n"
    "Content-Type: text/plain; charset=UTF-8\r\n"
    "Content-Transfer-Encoding: 8bit\r\n"
    "\r\n";

constexpr std::string_view kFilePartTypes =
    "Content-Type: application/octet-stream\r\n"
    "Content-Transfer-Encoding: binary\r\n"
    "\r\n";

using UploadRecords = std::map<uint32_t, tagKELO_LoadInfo>;

tagHTTPConnection_MultipartBody FilePart(const tagKELO_LoadInfo& record,
                                         std::string_view displayName) {
  tagHTTPConnection_MultipartBody part;
  part.bytes.append("\r\n").append(kPartOpening);
  part.bytes.append("Content-Disposition: form-data; name=\"").append(displayName).append("\"\r\n");
  part.bytes.append(kFilePartTypes);
  part.filePath = KELOStringInfoToString(record.filePath);
  part.fileSize = static_cast<uint32_t>(record.fileSize);
  return part;
}

struct MultipartRequest {
  std::string document;
  std::vector<tagHTTPConnection_MultipartBody> parts;
  uint64_t length = 0;                    // bytes of the whole body
  std::map<uint32_t, std::string> names;  // display names, by the key of the record
};

MultipartRequest BuildRequest(const UploadRecords& records, std::string_view albumId,
                              std::string_view uploadId) {
  MultipartRequest request;
  request.parts.resize(1);
  std::string& document = request.document;
  document.append(kDocumentDeclaration).append("<UploadItems");
  AppendAttributeUnlessEmpty(document, "uploadId", uploadId);
  document.append(">\r\n<items>\r\n");
  for (const auto& entry : records) {
    const uint32_t idx = entry.first;
    const tagKELO_LoadInfo& record = entry.second;
    const std::string& displayName = request.names.emplace(idx, DisplayName(record)).first->second;
    AppendUploadItem(document, idx, displayName, [&](std::string& out) {
      AppendAttribute(out, "size", static_cast<uint32_t>(record.fileSize));
      AppendAttributeUnlessEmpty(out, "fileCreateDate", ReadTextField(record.fileCreateDate));
      AppendAttributeUnlessEmpty(out, "fileModifyDate", ReadTextField(record.fileModifyDate));
      AppendAttributeUnlessEmpty(out, "albumId", albumId);
      AppendAttributeUnlessEmpty(out, "tagList", ReadTextField(record.tagList));
    });
    request.parts.push_back(FilePart(record, displayName));
  }
  document.append("</items>\r\n</UploadItems>\r\n");
  request.parts.front().bytes.append(kPartOpening).append(kDocumentPartHeader).append(document);
  request.parts.emplace_back().bytes = kBodyEnd;
  for (const auto& part : request.parts) request.length += part.bytes.size() + part.fileSize;
  return request;
}

}  // namespace

// Only the first record is looked at, deliberately: the others are sent as they are.
bool KELOAccessCommandController::IsCorrectUploadParam(tagCommandProcParam* param) {
  if (param->entryCount == 0) return true;
  const auto first = LoadRecord<tagKELO_LoadInfo>(param->data);
  return first.fileModifyDate[0] != '\0' && first.fileCreateDate[0] != '\0';
}

uint32_t KELOAccessCommandController::ProcessUpload(tagCommandControlInfo* info) {
  const std::string albumId(ReadTextField(info->targetId).substr(0, KELO_ID_FIELD_SIZE - 1));
  auto records = LoadRecords<tagKELO_LoadInfo>(info->data, info->entryCount);
  ResetProgress();
  if (records.empty()) return kKELOResult_Success;
  bool anyNegative = false;
  for (tagKELO_LoadInfo& record : records) {
    record.result = kKELOResult_Success;
    CopyTextField(record.albumId, albumId);
    anyNegative |= record.fileSize < 0;
  }

  uint32_t result = kKELOResult_Success;
  bool sends = true;
  if (anyNegative) {
    result = kKELOResult_TooLarge;
  } else if (info->outputOptions & kKELOOption_CheckDuplicates) {
    result = CheckUploadItems(albumId, records, info->selectionFlags, sends);
  } else {
    for (tagKELO_LoadInfo& record : records) CopyTextField(record.itemId, "");
    CountFilesToSend(records);
  }
  if (result != kKELOResult_Success)
    for (tagKELO_LoadInfo& record : records) record.result = result;
  else if (sends)
    result = UploadItems(albumId, records, "");
  StoreRecords(info->data, records);
  ResetProgress();
  return result;
}

void KELOAccessCommandController::CountFilesToSend(const std::vector<tagKELO_LoadInfo>& records) {
  uint64_t bytes = 0;
  progress_.itemCount = 0;
  for (const tagKELO_LoadInfo& record : records) {
    if (record.result != kKELOResult_Success) continue;
    ++progress_.itemCount;
    bytes += static_cast<uint32_t>(record.fileSize);
  }
  progress_.transferTotal =
      static_cast<uint32_t>(std::min<uint64_t>(bytes, std::numeric_limits<uint32_t>::max()));
}

uint32_t KELOAccessCommandController::UploadItems(const std::string& albumId,
                                                  std::vector<tagKELO_LoadInfo>& records,
                                                  const std::string& uploadId) {
  UploadRecords toSend;
  for (size_t i = 0; i < records.size(); ++i)
    if (records[i].result == kKELOResult_Success)
      toSend.emplace_hint(toSend.end(), static_cast<uint32_t>(i + 1), records[i]);
  if (toSend.empty()) return kKELOResult_Success;
  const uint32_t result = UploadAnyItems(albumId, toSend, uploadId);
  for (const auto& [position, record] : toSend) records[position - 1] = record;
  return result;
}

uint32_t KELOAccessCommandController::UploadAnyItems(const std::string& albumId,
                                                     UploadRecords& records,
                                                     const std::string& uploadId) {
  const Signer signer = SessionSigner(session_.uploadUrl);
  if (signer.url.empty()) return kKELOResult_GeneralFailure;
  const MultipartRequest request = BuildRequest(records, albumId, uploadId);
  const std::optional<std::string> query = Sign(signer, request.document);
  if (!query) return kKELOResult_GeneralFailure;
  const std::vector<tagHTTPConnection_HeaderInfo> headers{
      {"Content-Type", "multipart/form-data; boundary=BOUNDARY"},
      {"Content-Length", std::to_string(request.length)},
  };
  std::string text;
  const uint32_t transfer = httpController_->HTTPRequestFileUpload(
      std::string(signer.url), *query, headers, request.parts, text, kUploadTimeout);
  const ServiceAnswer answer(transfer, std::move(text));
  if (!answer.Ok()) return answer.Result();
  ForEachElement(
      answer.Text(), "item",
      [&](const XMLTag& element) {
        const auto [idx, itemId] = ReadAttributes(element.attributes, {"idx", "itemId"});
        const long long number = std::atoll(std::string(idx).c_str());
        const auto found = records.find(static_cast<uint32_t>(number));
        if (found == records.end() || found->first != number || !itemId.data()) return;
        CopyTextField(found->second.itemId, itemId);
        // It counts and is listed there at once.
        cacheManager_->AddFileItem(albumId, ReadTextField(found->second.itemId),
                                   {.fileName = request.names.at(found->first)});
      },
      [this] { return abort_->IsRaised(); });
  return abort_->IsRaised() ? kKELOResult_Aborted : kKELOResult_Success;
}

}  // namespace kelo
