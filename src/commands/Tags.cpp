// Tags for one item, or for all items of an album.

#include <cstring>

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"

namespace kelo {
namespace {

// Tags go to one file item, or to all file items of an album or of the root album.
bool AcceptsTags(const tagKELO_ItemInfo& target, uint32_t selector) {
  if (target.result != kKELOResult_Success) return false;
  if (target.kind == kKELOKind_Folder || (target.kind & kKELOKind_FriendAlbum)) return false;
  if (target.kind == kKELOKind_FileItem) return selector == kKELOTagTarget_FileItem;
  const bool isAlbum = (target.kind & kKELOKind_Album) != 0;
  return selector == (isAlbum ? kKELOTagTarget_Album : kKELOTagTarget_RootAlbum);
}

}  // namespace

uint32_t KELOAccessCommandController::ProcessAddTags(tagCommandControlInfo* info) {
  const auto finish = [info](uint32_t result) {
    StoreRecord(info->data, result);
    return result;
  };
  const std::string_view targetId = ReadTextField(info->targetId);
  tagKELO_ItemInfo target{};
  cacheManager_->GetItemInfo(targetId, target);
  if (!AcceptsTags(target, info->selectionFlags)) return finish(kKELOResult_InvalidTarget);

  std::vector<std::string_view> ids{targetId};
  if (target.kind != kKELOKind_FileItem)
    ids = cacheManager_->GetIdsOnTarget(targetId, kKELOKind_FileItem);
  if (ids.empty()) return finish(kKELOResult_Success);
  // The host's buffer may be shorter than the record: the text is read to its NUL and no further.
  const char* text = static_cast<const char*>(info->data) + offsetof(tagKELO_TagInfo, text);
  std::string parameters;
  AppendAttribute(parameters, "itemIdList", Join(ids, ","));
  AppendAttribute(parameters, "tagList",
                  std::string_view(text, strnlen(text, sizeof tagKELO_TagInfo::text)));
  return finish(CallService("AddTags", parameters).Result());
}

}  // namespace kelo
