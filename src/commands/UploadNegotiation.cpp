// Negotiation of an upload by digests. It is part of the controller's interface, but no command
// reaches it yet.

#include <optional>

#include "commands/UploadItemText.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "platform/KELOAccessEncoder.h"
#include "protocol/RequestDocument.h"
#include "text/XMLElements.h"

namespace kelo {

namespace {

// The files with their digests; `names` becomes their display names. Nothing when one has none.
std::optional<std::string> NegotiatedItems(const std::vector<tagKELO_LoadInfo>& records,
                                           std::vector<std::string>& names) {
  KELOAccessEncoder encoder;
  std::string content("<items>\r\n");
  for (const tagKELO_LoadInfo& record : records) {
    std::string digest;
    if (encoder.AccessEncodeFileMD5(KELOStringInfoToString(record.filePath), digest) != 1)
      return std::nullopt;
    names.push_back(DisplayName(record));
    AppendUploadItem(content, names.size(), names.back(), [&](std::string& out) {
      AppendAttribute(out, "fileSize", std::to_string(record.fileSize));
      AppendAttribute(out, "fileDate", ReadTextField(record.fileModifyDate));
      if (!IsSoundFile(names.back()) && record.width != 0 && record.height != 0)
        AppendAttribute(out, "resolution",
                        std::to_string(record.width) + "x" + std::to_string(record.height));
      AppendAttribute(out, "md5", digest);
    });
  }
  return content.append("</items>\r\n");
}

}  // namespace

uint32_t KELOAccessCommandController::NegotiateUploadItems(const std::string&,
                                                           std::vector<tagKELO_LoadInfo>& records,
                                                           std::string& uploadId) {
  if (records.empty()) return kKELOResult_GeneralFailure;
  std::vector<std::string> names;
  const auto content = NegotiatedItems(records, names);
  if (!content) return kKELOResult_GeneralFailure;
  const ServiceAnswer answer =
      CallUploadService("NegotiateUploadItems", *content,
                        DecideTimeoutSetting(static_cast<uint32_t>(records.size())));
  if (!answer.Ok()) return answer.Result();
  const auto identifier = answer.Attribute("uploadId");
  const auto items = FindOutermostElement(answer.Text(), "items");
  if (!identifier || identifier->empty() || !items) return kKELOResult_GeneralFailure;
  bool anyItem = false;
  ForEachElement(*items, "item", [&](const XMLTag& element) {
    anyItem = true;
    const auto [position, complete, itemId] =
        ReadAttributes(element.attributes, {"idx", "uploadComplete", "itemId"});
    const uint64_t number = StringToULL(position);
    if (number == 0 || number > records.size() || complete != "true") return;
    const auto idx = static_cast<size_t>(number);
    tagKELO_LoadInfo& record = records[idx - 1];
    record.result = kKELOResult_AlreadyExists;
    CopyTextField(record.itemId, itemId);
    cacheManager_->AddFileItem(ReadTextField(record.albumId), ReadTextField(record.itemId),
                               {.fileName = names[idx - 1]});
  });
  if (!anyItem) return kKELOResult_GeneralFailure;
  uploadId = *identifier;
  return kKELOResult_Success;
}

}  // namespace kelo
