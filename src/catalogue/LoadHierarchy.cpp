// The load-hierarchy command: fetches the account's tree and the friends' albums and rebuilds the
// catalogue from the answers.

#include "catalogue/HierarchyLoader.h"
#include "interface/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"
#include "text/StringInfo.h"

namespace kelo {
namespace {

constexpr uint32_t kForeignAlbumsTimeout = 180;

constexpr std::string_view kHierarchyParameters =
    " folderSortBy=\"ModifyDate\" folderSortOrder=\"desc\""
    " albumSortBy=\"ModifyDate\" albumSortOrder=\"desc\""
    " sortBy=\"UploadDate\" sortOrder=\"desc\""
    " needFileFormat=\"true\" needFileName=\"true\" needOrigUrl=\"true\" needScreenUrl=\"true\""
    " needShotDate=\"true\" needUploadDate=\"true\" needModifyDate=\"true\"";

}  // namespace

uint32_t KELOAccessCommandController::ProcessLoadHierarchy(tagCommandControlInfo*) {
  RequireSubControllers();
  uint32_t totalCount = 0;
  uint32_t result = GetUserArchiveInfo(totalCount);
  if (result != kKELOResult_Success) return result;

  HierarchyLoader loader(*cacheManager_);
  {
    ServiceAnswer hierarchy;
    result = CallService("GetHierarchy", std::string(kHierarchyParameters), hierarchy,
                         DecideTimeoutSetting(totalCount));
    if (result == kKELOResult_Success) {
      result = loader.RefreshHierarchyInfoByXMLData(hierarchy.Text());
    }
    if (result != kKELOResult_Success) return result;
  }

  // The attribute travels inside the method text, deliberately.
  ServiceAnswer friendAlbums;
  result = CallService("GetForeignAlbumItems needDate=\"true\"", "", friendAlbums,
                       kForeignAlbumsTimeout);
  if (result != kKELOResult_Success) return result;
  return loader.RefreshFriendAlbumInfoByXMLData(friendAlbums.Text());
}

uint32_t KELOAccessCommandController::GetUserArchiveInfo(uint32_t& totalCount) {
  ServiceAnswer answer;
  const uint32_t result = CallService("GetUserArchiveInfo", "", answer, kRequestTimeout);
  if (result != kKELOResult_Success) return result;
  const auto total = answer.Attribute("totalCount");
  if (!total) return kKELOResult_GeneralFailure;
  totalCount = static_cast<uint32_t>(StringToULL(*total));
  return kKELOResult_Success;
}

}  // namespace kelo
