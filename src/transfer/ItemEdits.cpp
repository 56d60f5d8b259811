// Edits of what is stored: properties of items, and tags.

#include <cstring>

#include "catalogue/HierarchyRecords.h"
#include "interface/KELOAccessCommandController.h"
#include "platform/HostRecord.h"
#include "platform/TextField.h"
#include "protocol/RequestDocument.h"

namespace kelo {
namespace {

void AppendProperty(std::string& document, std::string_view name, std::string_view value) {
  document.append("<property");
  AppendAttribute(document, "name", name);
  AppendAttribute(document, "value", value);
  document.append(" />\r\n");
}

std::string ModifyPropsDocument(std::string_view itemIdList, const tagKELO_PropertyInfo& edit) {
  std::string document(kDocumentDeclaration);
  document.append("<ModifyProps");
  AppendAttribute(document, "itemIdList", itemIdList);
  document.append(">\r\n");
  if (edit.propertyMask & kKELOProperty_Caption)
    AppendProperty(document, "caption", ReadTextField(edit.caption));
  if (edit.propertyMask & kKELOProperty_CaptionFlag)
    AppendProperty(document, "captionFlag", edit.captionFlag == 1 ? "true" : "false");
  if (edit.propertyMask & kKELOProperty_Rating)
    AppendProperty(document, "rating", std::to_string(edit.rating));
  // Deliberately without a line end.
  return document.append("</ModifyProps>");
}

// Tags go to one file item, or to all file items of an album or of the root album.
bool AcceptsTags(const tagKELO_ItemInfo& target, uint32_t selector) {
  if (target.result != kKELOResult_Success) return false;
  if (target.kind == kKELOKind_Folder || (target.kind & kKELOKind_FriendAlbum)) return false;
  if (target.kind == kKELOKind_FileItem) return selector == kKELOTagTarget_FileItem;
  const bool isAlbum = (target.kind & kKELOKind_Album) != 0;
  return selector == (isAlbum ? kKELOTagTarget_Album : kKELOTagTarget_RootAlbum);
}

}  // namespace

uint32_t KELOAccessCommandController::ProcessModifyProps(tagCommandControlInfo* info) {
  auto record = LoadRecord<tagKELO_PropertyInfo>(info->data);
  const std::string document = ModifyPropsDocument(ReadTextField(info->targetId), record);
  std::string answer;
  const uint32_t transfer =
      SendDocument(SessionSigner(session_.manageUrl), document, false, answer, kRequestTimeout);
  record.result = ServiceAnswer(transfer, std::move(answer)).Result();
  StoreRecord(info->data, record.result);
  return record.result;
}

uint32_t KELOAccessCommandController::ProcessAddTags(tagCommandControlInfo* info) {
  const auto finish = [info](uint32_t result) {
    StoreRecord(info->data, result);
    return result;
  };
  const std::string_view targetId = ReadTextField(info->targetId);
  tagKELO_ItemInfo target{};
  cacheManager_->GetItemInfo(targetId, target);
  if (!AcceptsTags(target, info->selectionFlags)) return finish(kKELOResult_InvalidTarget);

  std::string itemIdList(targetId);
  if (target.kind != kKELOKind_FileItem) {
    const auto ids = cacheManager_->GetIdsOnTarget(targetId, kKELOKind_FileItem);
    if (ids.empty()) return finish(kKELOResult_Success);
    itemIdList.clear();
    for (const std::string_view id : ids) {
      if (!itemIdList.empty()) itemIdList.append(",");
      itemIdList.append(id.substr(0, kIdLength));
    }
  }
  // The host's buffer may be shorter than the record: the text is read to its NUL and no further.
  const char* text = static_cast<const char*>(info->data) + offsetof(tagKELO_TagInfo, text);
  std::string parameters;
  AppendAttribute(parameters, "itemIdList", itemIdList);
  AppendAttribute(parameters, "tagList",
                  std::string_view(text, strnlen(text, sizeof tagKELO_TagInfo::text)));
  return finish(CallService("AddTags", parameters).Result());
}

}  // namespace kelo
