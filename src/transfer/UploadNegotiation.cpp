// Negotiation of an upload by digests. No command reaches it yet; it is part of the controller's
// interface.

#include "interface/KELOAccessCommandController.h"
#include "platform/KELOAccessEncoder.h"
#include "platform/TextField.h"
#include "protocol/RequestDocument.h"
#include "text/StringInfo.h"
#include "text/XMLSearch.h"
#include "transfer/UploadNames.h"

namespace kelo {

uint32_t KELOAccessCommandController::NegotiateUploadItems(const std::string&,
                                                           std::vector<tagKELO_LoadInfo>& records,
                                                           std::string& uploadId) {
  if (records.empty()) return kKELOResult_GeneralFailure;
  KELOAccessEncoder encoder;
  std::vector<std::string> names;
  std::string content("<items>\r\n");
  for (const tagKELO_LoadInfo& record : records) {
    std::string digest;
    if (encoder.AccessEncodeFileMD5(KELOStringInfoToString(record.filePath), digest) != 1) {
      return kKELOResult_GeneralFailure;
    }
    names.push_back(DisplayName(record));
    content.append("<item");
    AppendAttribute(content, "idx", names.size());
    AppendAttribute(content, "fileName", names.back());
    AppendAttribute(content, "fileSize", std::to_string(record.fileSize));
    AppendAttribute(content, "fileDate", ReadTextField(record.fileModifyDate));
    if (!IsSoundFile(names.back()) && record.width != 0 && record.height != 0) {
      AppendAttribute(content, "resolution",
                      std::to_string(record.width) + "x" + std::to_string(record.height));
    }
    AppendAttribute(content, "md5", digest);
    content.append(" />\r\n");
  }
  content.append("</items>\r\n");

  ServiceAnswer answer;
  const uint32_t failure =
      CallUploadService("NegotiateUploadItems", content, answer,
                        DecideTimeoutSetting(static_cast<uint32_t>(records.size())));
  if (failure != kKELOResult_Success) return failure;
  uploadId = answer.Attribute("uploadId").value_or("");
  const auto items = FindOutermostTag(answer.Text(), "items");
  if (!items) return kKELOResult_Success;
  ForEachBetween(*items, "<item", "/>", [&](std::string_view element) {
    const uint64_t idx = StringToULL(FindPresentAttribute(element, "idx").value_or(""));
    if (idx == 0 || idx > records.size()) return;
    if (FindPresentAttribute(element, "uploadComplete") != "true") return;
    tagKELO_LoadInfo& record = records[idx - 1];
    record.result = kKELOResult_AlreadyExists;
    CopyTextField(record.itemId, FindPresentAttribute(element, "itemId").value_or(""));
    AddToCachedAlbum(ReadTextField(record.albumId), ReadTextField(record.itemId), names[idx - 1]);
  });
  return kKELOResult_Success;
}

}  // namespace kelo
