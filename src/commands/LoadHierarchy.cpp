// The load-hierarchy command: fetches the account's tree and the friends' albums and rebuilds the
// catalogue from the answers.

#include "catalogue/HierarchyLoader.h"
#include "controller/KELOAccessCommandController.h"

namespace kelo {
namespace {

constexpr std::string_view kHierarchyParameters =
    " folderSortBy=\"ModifyDate\" folderSortOrder=\"desc\""
    " albumSortBy=\"ModifyDate\" albumSortOrder=\"desc\""
    " sortBy=\"UploadDate\" sortOrder=\"desc\""
    " needFileFormat=\"true\" needFileName=\"true\" needOrigUrl=\"true\" needScreenUrl=\"true\""
    " needShotDate=\"true\" needUploadDate=\"true\" needModifyDate=\"true\"";

}  // namespace

uint32_t KELOAccessCommandController::ProcessLoadHierarchy(tagCommandControlInfo*) {
  uint32_t totalCount = 0;
  uint32_t result = GetUserArchiveInfo(totalCount);
  if (result != kKELOResult_Success) return result;

  HierarchyLoader loader(*cacheManager_, abort_.get());
  {
    ServiceAnswer hierarchy = CallService("GetHierarchy", std::string(kHierarchyParameters),
                                          DecideTimeoutSetting(totalCount));
    if (!hierarchy.Ok()) return hierarchy.Result();
    result = loader.RefreshHierarchyInfoByXMLData(hierarchy.TakeText());
    if (result != kKELOResult_Success) return result;
  }

  // The attribute travels inside the method text, deliberately.
  ServiceAnswer friendAlbums =
      CallService("GetForeignAlbumItems needDate=\"true\"", "", kForeignAlbumsTimeout);
  if (!friendAlbums.Ok()) return friendAlbums.Result();
  return loader.RefreshFriendAlbumInfoByXMLData(friendAlbums.TakeText());
}

uint32_t KELOAccessCommandController::GetUserArchiveInfo(uint32_t& totalCount) {
  const ServiceAnswer answer = CallService("GetUserArchiveInfo", "");
  if (!answer.Ok()) return answer.Result();
  const auto total = answer.Attribute("totalCount");
  if (!total) return kKELOResult_GeneralFailure;
  totalCount = static_cast<uint32_t>(StringToULL(*total));
  return kKELOResult_Success;
}

}  // namespace kelo
