// The duplicate check before an upload: which files the service holds already.

#include <algorithm>
#include <array>

#include "commands/UploadItemText.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "platform/AbortSignal.h"
#include "protocol/RequestDocument.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

// The attributes of an answer's element.
enum { Idx, Status, ItemId };
std::array<std::string_view, 3> ReadVerdict(std::string_view element) {
  XMLTag tag;
  XMLTagReader(element).Next(tag);
  return ReadAttributes(tag.attributes, {"idx", "status", "itemId"});
}

// The answer's elements for each of so many files, in the answer's order; nothing without any
// element, and where reading was stopped.
std::vector<std::vector<std::string>> GroupElements(std::string_view answer, size_t files,
                                                    const XMLStop& stop) {
  std::vector<std::vector<std::string>> groups;
  const auto items = FindOutermostElement(answer, "items", stop);
  ForEachElement(
      items.value_or(""), "item",
      [&](const XMLTag& element) {
        groups.resize(files);
        const uint64_t index = StringToULL(ReadVerdict(element.text)[Idx]) - 1;
        if (index < files) groups[static_cast<size_t>(index)].emplace_back(element.text);
      },
      stop);
  if (stop()) groups.clear();
  return groups;
}

// What the service says of one file; `decides` is false where the scan has to go on.
struct Decision {
  uint32_t result = kKELOResult_Success;
  bool named = false;  // the element names the stored item
  bool decides = false;
};

// Status 1 ends the scan only without an album: with one, a later element may still place the file.
Decision Decide(std::string_view status, bool withAlbum) {
  if (status == "0") return {kKELOResult_Success, false, true};
  if (status == "1") return {kKELOResult_AlreadyExists, true, !withAlbum};
  if (!withAlbum) return {};
  if (status == "2") return {kKELOResult_AlreadyInAlbum, true, true};
  if (status == "3") return {kKELOResult_InvalidTarget, false, true};
  if (status == "4") return {kKELOResult_Success, false, true};
  return {};
}

struct NamedFile {
  std::string displayName;
  bool isSound;  // voice memos are not asked about
};

std::vector<NamedFile> NameFiles(const std::vector<tagKELO_LoadInfo>& records) {
  std::vector<NamedFile> files;
  for (const tagKELO_LoadInfo& record : records) {
    std::string name = DisplayName(record);
    const bool isSound = IsSoundFile(name);
    files.push_back({std::move(name), isSound});
  }
  return files;
}

std::string DescribeFiles(const std::vector<tagKELO_LoadInfo>& records,
                          const std::vector<NamedFile>& files, uint32_t checkMask) {
  std::string content("<items>\r\n");
  for (size_t i = 0; i < files.size(); ++i) {
    if (files[i].isSound) continue;
    const tagKELO_LoadInfo& record = records[i];
    const auto date = [checkMask](std::string& out, uint32_t bit, std::string_view name,
                                  std::string_view value) {
      if (checkMask & bit) AppendAttributeUnlessEmpty(out, name, value);
    };
    AppendUploadItem(content, i + 1, files[i].displayName, [&](std::string& out) {
      AppendAttribute(out, "fileSize", std::to_string(record.fileSize));
      date(out, kKELOCheck_ShotDate, "shotDate", ReadTextField(record.shotDate));
      date(out, kKELOCheck_FileCreateDate, "fileCreateDate", ReadTextField(record.fileCreateDate));
      date(out, kKELOCheck_FileModifyDate, "fileModifyDate", ReadTextField(record.fileModifyDate));
      AppendAttributeUnlessEmpty(out, "albumId", ReadTextField(record.albumId));
    });
  }
  return content.append("</items>\r\n");
}

// Deliberate: without a picture to send nothing travels, and where the service holds a picture
// already, its voice memos count as stored too.
void KeepMemosBack(std::vector<tagKELO_LoadInfo>& records, const std::vector<NamedFile>& files) {
  const bool anyDuplicate = std::ranges::any_of(records, [](const tagKELO_LoadInfo& record) {
    return record.result == kKELOResult_AlreadyExists ||
           record.result == kKELOResult_AlreadyInAlbum;
  });
  for (size_t i = 0; anyDuplicate && i < files.size(); ++i)
    if (files[i].isSound) records[i].result = kKELOResult_AlreadyExists;
}

}  // namespace

uint32_t KELOAccessCommandController::CheckUploadItems(const std::string& albumId,
                                                       std::vector<tagKELO_LoadInfo>& records,
                                                       uint32_t checkMask, bool& anyToSend) {
  const std::vector<NamedFile> files = NameFiles(records);
  const ServiceAnswer answer =
      CallUploadService("CheckUploadItems", DescribeFiles(records, files, checkMask),
                        DecideTimeoutSetting(static_cast<uint32_t>(records.size())));
  if (!answer.Ok()) return answer.Result();
  const auto elements =
      GroupElements(answer.Text(), records.size(), [this] { return abort_->IsRaised(); });
  if (elements.empty())
    return abort_->IsRaised() ? kKELOResult_Aborted : kKELOResult_GeneralFailure;

  anyToSend = false;
  for (size_t i = 0; i < records.size(); ++i) {
    tagKELO_LoadInfo& record = records[i];
    record.result = kKELOResult_Success;
    CopyTextField(record.itemId, "");  // what an earlier command left there confirms nothing
    if (files[i].isSound) continue;
    std::string itemId;
    record.result =
        CheckUploadItemByIdx(static_cast<uint32_t>(i + 1), albumId, elements[i], itemId);
    anyToSend |= record.result == kKELOResult_Success;
    const bool inAlbum = record.result == kKELOResult_AlreadyInAlbum;
    if (inAlbum || record.result == kKELOResult_AlreadyExists) CopyTextField(record.itemId, itemId);
    if (inAlbum)
      cacheManager_->AddFileItem(ReadTextField(record.albumId), ReadTextField(record.itemId),
                                 {.fileName = files[i].displayName});
  }
  if (anyToSend) {
    CountFilesToSend(records);
  } else {
    ResetProgress();
    KeepMemosBack(records, files);
  }
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::CheckUploadItemByIdx(uint32_t index,
                                                           const std::string& albumId,
                                                           const std::vector<std::string>& elements,
                                                           std::string& itemId) {
  const std::string wanted = std::to_string(index);
  uint32_t remembered = kKELOResult_Success;
  for (const std::string& element : elements) {
    const auto verdict = ReadVerdict(element);
    if (verdict[Idx] != wanted) continue;
    const Decision decision = Decide(verdict[Status], !albumId.empty());
    if (decision.named) itemId = verdict[ItemId];
    if (decision.decides) return decision.result;
    if (decision.named) remembered = decision.result;
  }
  return remembered;
}

}  // namespace kelo
