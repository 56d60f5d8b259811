// New folders and albums, and links of items into albums: commands over an array of records, each
// with its own result.

#include "catalogue/HierarchyRecords.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"

namespace kelo {
namespace {

// Works on the records in order. `work` writes nothing into the result word; it answers the
// record's result and sets `stops` where that ends the command: then all later records get the same
// result.
template <typename Record, typename Work>
uint32_t WorkOnRecords(std::vector<Record>& records, Work work) {
  bool stops = false;
  uint32_t result = kKELOResult_Success;
  for (Record& record : records) {
    if (!stops) result = work(record, stops);
    record.result = result;
  }
  return stops ? result : uint32_t{kKELOResult_Success};
}

}  // namespace

uint32_t KELOAccessCommandController::ProcessAddItems(tagCommandControlInfo* info) {
  auto records = LoadRecords<tagKELO_ItemInfo>(info->data, info->entryCount);
  const std::string_view parent = ReadTextField(info->targetId);
  const uint32_t result = WorkOnRecords(records, [&](tagKELO_ItemInfo& record, bool& stops) {
    tagKELO_ItemInfo normalised{};
    CopyTextField(normalised.parentId, parent);
    normalised.kind = record.kind;
    CopyTextField(normalised.name, ReadTextField(record.name));
    record = normalised;
    return AddContainer(record, stops);
  });
  StoreRecords(info->data, records);
  return result;
}

uint32_t KELOAccessCommandController::AddContainer(tagKELO_ItemInfo& record, bool& stops) {
  const bool isAlbum = record.kind == kKELOKind_Album;
  const std::string_view parent = ReadTextField(record.parentId);
  const bool isRootFolder =
      record.kind == kKELOKind_Folder && (parent.empty() || parent == kRootId);
  if (!isAlbum && !isRootFolder) return kKELOResult_InvalidTarget;

  const std::string name = TextAsReferences(ReadTextField(record.name));
  std::string parameters;
  if (isAlbum) AppendAttribute(parameters, "folderId", parent);
  // A folder's parent is not sent, deliberately.
  AppendConvertedAttribute(parameters, isAlbum ? "albumName" : "folderName", name);
  const ServiceAnswer answer = CallService(isAlbum ? "AddAlbum" : "AddFolder", parameters);
  if (!answer.Ok()) {
    stops = !answer.IsServiceError();
    return answer.Result();
  }
  const auto id = answer.Attribute(isAlbum ? "albumId" : "folderId");
  if (!id || id->empty()) {
    stops = true;
    return kKELOResult_GeneralFailure;
  }
  CopyTextField(record.itemId, *id);
  if (isAlbum)
    cacheManager_->AddAlbum(parent, *id, {.name = name}, false);
  else
    cacheManager_->AddFolder(parent, *id, {.name = name});
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::ProcessAddNewLink(tagCommandControlInfo* info) {
  auto records = LoadRecords<tagKELO_AddLinkInfo>(info->data, info->entryCount);
  for (tagKELO_AddLinkInfo& record : records) {
    record.result = kKELOResult_Success;
    CopyTextField(record.albumId, ReadTextField(info->targetId));
  }
  const uint32_t result = WorkOnRecords(records, [&](tagKELO_AddLinkInfo& record, bool& stops) {
    std::string parameters;
    AppendAttribute(parameters, "albumId", ReadTextField(record.albumId));
    AppendAttribute(parameters, "itemIdList", ReadTextField(record.itemIdList));
    const ServiceAnswer answer = CallService("AddItemsToAlbum", parameters);
    stops = !answer.Ok() && !answer.IsServiceError();
    return answer.Result();
  });
  StoreRecords(info->data, records);
  return result;
}

}  // namespace kelo
