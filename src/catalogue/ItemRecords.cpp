// The record of one entry of the cached hierarchy.
#include "catalogue/KELOAccessCacheManager.h"
#include "platform/TextField.h"

namespace kelo {
namespace {

// What the item count of a directory's record counts.
constexpr uint32_t kCountedInDirectory = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem |
                                         kKELOKind_RootAlbum | kKELOKind_SharedAlbum;
constexpr uint32_t kCountedInFriendAlbum = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem;

void FillFileFields(const tagFileItemData& data, tagKELO_ItemInfo& info) {
  CopyTextField(info.name, data.fileName);
  CopyTextField(info.modifyDate, data.modifyDate);
  CopyTextField(info.shotDate, data.shotDate);
  CopyTextField(info.uploadDate, data.uploadDate);
  CopyTextField(info.screenUrl, data.screenUrl);
  CopyTextField(info.origUrl, data.origUrl);
  info.fileFormat = data.fileFormat;
}

// Fills a cleared record.
void FillFileRecord(const tagFileItemData& data, std::string_view holderID,
                    tagKELO_ItemInfo& info) {
  CopyTextField(info.parentId, holderID);
  info.kind = kKELOKind_FileItem;
  FillFileFields(data, info);
}

}  // namespace

void KELOAccessCacheManager::GetItemInfoFromFileItemData(const tagFileItemData& data,
                                                         tagKELO_ItemInfo& info) {
  FillFileFields(data, info);
  CopyTextField(info.text464, {});
  CopyTextField(info.text1704, {});
  CopyTextField(info.text2216, {});
  info.word356 = 0;
  info.word456 = 0;
  info.word460 = 0;
}

// Fills a cleared record with the most preferred entry of that id; false if there is none.
bool KELOAccessCacheManager::BuildItemInfo(std::string_view id, tagKELO_ItemInfo& info) const {
  // The empty id means the root entries, never an item that happens to have the root id.
  const HierarchyPlace* place = index_.Find(
      OrRoot(id), [&](const HierarchyPlace& found) { return !id.empty() || !found.file; });
  if (!place) return false;
  if (place->kind == HierarchyPlace::Kind::RootAlbum) {
    info.kind = kKELOKind_RootAlbum;
    CopyTextField(info.name, kRootAlbumName);
    info.itemCount = static_cast<uint32_t>(hierarchy_.rootAlbumFiles.size());
  } else if (place->file) {
    FillFileRecord(*place->file, place->holderID, info);
  } else {
    const tagDirectoryInfo& directory = *place->directory;
    CopyTextField(info.parentId, ReadTextField(directory.parentID));
    info.kind = directory.flags;
    CopyTextField(info.name, directory.name);
    CopyTextField(info.modifyDate, directory.modifyDate);
    const bool isFriendAlbum = place->kind == HierarchyPlace::Kind::FriendAlbum;
    info.itemCount =
        GetItemsCountOnTargetID(id, isFriendAlbum ? kCountedInFriendAlbum : kCountedInDirectory);
  }
  return true;
}

void KELOAccessCacheManager::GetItemInfo(std::string_view id, tagKELO_ItemInfo& info) {
  GetListedItemInfo({id}, info);
}

void KELOAccessCacheManager::GetListedItemInfo(const ListedID& entry, tagKELO_ItemInfo& info) {
  const std::string_view id = entry.id;
  // Finished records know no difference between the empty id and the root id, but what the two show
  // differs: only the first one's is kept.
  const bool isKept = id != kRootID;
  if (const auto* finished = isKept ? GetKELO_ItemInfoCache(id) : nullptr) {
    info = *finished;
    return;
  }
  info = {};
  if (entry.file) {
    FillFileRecord(*entry.file, entry.holderID, info);
  } else if (!BuildItemInfo(id, info)) {
    info.result = kKELOResult_NotFound;
    return;
  }
  // The root folder's count holds the root album a second time, deliberately.
  if (id.empty()) ++info.itemCount;
  if (ReadTextField(info.parentId) == kTerminateID) CopyTextField(info.parentId, {});
  if (!isKept) return;
  CopyTextField(info.itemId, id);
  UpdateKELO_ItemInfoCache(id, info);
}

}  // namespace kelo
