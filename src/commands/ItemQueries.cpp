// The read commands over the catalogue: counts, lists, and one item's record from memory or fresh
// from the service.

#include <map>

#include "catalogue/HierarchyLoader.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "platform/AbortSignal.h"
#include "protocol/RequestDocument.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

// The records' ids. Those of which the service knows no items are marked as bad.
std::vector<std::string_view> IdsToAskFor(std::vector<tagKELO_ItemInfo>& items) {
  std::vector<std::string_view> ids;
  for (tagKELO_ItemInfo& item : items) {
    const std::string_view id = ReadTextField(item.itemId);
    if (id.empty()) continue;
    if (id == kRootId || id == KELO_ROOT_ALBUM_ID) {
      item.result = kKELOResult_BadParameter;
      continue;
    }
    ids.push_back(id);
  }
  return ids;
}

}  // namespace

bool KELOAccessCommandController::IsCorrectGetItemParam(tagCommandProcParam* param) {
  const uint32_t allowed = AllowedKinds(ReadTextField(param->targetId));
  const uint32_t wanted = param->selectionFlags;
  return (wanted & ~allowed) == 0 && wanted != 0;
}

uint32_t KELOAccessCommandController::AllowedKinds(std::string_view target) const {
  constexpr uint32_t kAlbumKinds = kKELOKind_Album | kKELOKind_SharedAlbum;
  constexpr uint32_t kRootKinds = kAlbumKinds | kKELOKind_Folder | kKELOKind_RootAlbum;
  constexpr uint32_t kServerKinds = kRootKinds | kKELOKind_FileItem | kKELOKind_FriendAlbum;
  if (target.empty()) return kRootKinds;
  if (target == KELO_ALL_ITEMS_ID) return kServerKinds;
  if (target == KELO_ROOT_ALBUM_ID) return kKELOKind_FileItem;
  bool isAlbum = false;
  if (cacheManager_->CheckDirectoryItemID(target, isAlbum))
    return isAlbum ? uint32_t{kKELOKind_FileItem} : kAlbumKinds;
  return cacheManager_->CheckFriendAlbumID(target) ? kKELOKind_FileItem : 0;
}

uint32_t KELOAccessCommandController::AccessCommand_GetItemsCount(tagCommandControlInfo* info) {
  const std::string_view target = ReadTextField(info->targetId);
  const uint32_t count = target == KELO_ALL_ITEMS_ID
                             ? cacheManager_->GetAllItemsCountOnServer(info->selectionFlags)
                             : cacheManager_->GetItemsCountOnTargetID(target, info->selectionFlags);
  StoreRecord(info->data, count);
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::AccessCommand_GetItemsList(tagCommandControlInfo* info) {
  const std::string_view target = ReadTextField(info->targetId);
  if (target == KELO_ALL_ITEMS_ID) {
    return cacheManager_->GetAllItemsInfoOnServer(info->entryCount, info->data,
                                                  info->selectionFlags);
  }
  return cacheManager_->GetItemsInfoOnTargetID(target, info->entryCount, info->data,
                                               info->selectionFlags);
}

uint32_t KELOAccessCommandController::AccessCommand_GetItemInfo(tagCommandControlInfo* info) {
  if (info->outputOptions & kKELOOption_AskService) return ProcessGetItemInfo(info);
  tagKELO_ItemInfo record{};
  cacheManager_->GetItemInfo(ReadTextField(info->targetId), record);
  if (record.result != kKELOResult_Success) return kKELOResult_BadParameter;
  StoreRecord(info->data, record);
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::ProcessGetItemInfo(tagCommandControlInfo* info) {
  std::vector<tagKELO_ItemInfo> items = LoadRecords<tagKELO_ItemInfo>(info->data, 1);
  items[0].result = kKELOResult_Success;
  CopyTextField(items[0].itemId, ReadTextField(info->targetId));
  const uint32_t failure = GetItemsInfo(items);
  if (failure != kKELOResult_Success) items[0].result = failure;
  StoreRecords(info->data, items);
  return items[0].result;
}

uint32_t KELOAccessCommandController::GetItemsInfo(std::vector<tagKELO_ItemInfo>& items) {
  const std::vector<std::string_view> ids = IdsToAskFor(items);
  if (ids.empty()) return kKELOResult_BadParameter;

  std::string parameters;
  AppendAttribute(parameters, "itemIdList", Join(ids, ","));
  parameters.append(" sortBy=\"UploadDate\" sortOrder=\"desc\"");
  const ServiceAnswer answer = CallService("GetItemsInfo", parameters);
  if (!answer.Ok()) return answer.Result();

  std::map<std::string_view, tagFileItemData> answered;  // views of the answer
  HierarchyLoader loader(*cacheManager_);
  const auto stop = [this] { return abort_->IsRaised(); };
  const auto list = FindOutermostElement(answer.Text(), "items", stop);
  ForEachElement(
      list.value_or(""), "item",
      [&](const XMLTag& element) {
        std::string_view id;
        tagFileItemData data;
        if (loader.ExtractFileItemInfo(element.attributes, id, data))
          answered.insert_or_assign(id, data);
      },
      stop);
  // Each once, however often it was named: an item may stand in all albums.
  for (const auto& [id, data] : answered) {
    if (stop()) break;
    cacheManager_->UpdateFileItem(id, data);
  }
  if (stop()) return kKELOResult_Aborted;
  for (tagKELO_ItemInfo& item : items) {
    const auto found = answered.find(ReadTextField(item.itemId));
    if (found == answered.end())
      item.result = kKELOResult_BadParameter;
    else
      cacheManager_->GetItemInfoFromFileItemData(found->second, item);
  }
  return kKELOResult_Success;
}

}  // namespace kelo
