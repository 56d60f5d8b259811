// From a command code to its work function: the command table, the checks that commands share, and
// the front functions with the checks of their own.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "http/AbortSignal.h"
#include "interface/KELOAccessCommandController.h"
#include "platform/HostRecord.h"
#include "platform/TextField.h"

namespace kelo {
namespace {

using Controller = KELOAccessCommandController;

// What a command needs before its front function runs, in the order in which it is checked.
enum Requirement : uint32_t {
  kRecord = 1,   // 4112
  kData = 2,     // 4112: the record's data pointer
  kSession = 4,  // 4116
  kCache = 8,    // 4144
  kArgument = kRecord | kData,
};

struct CommandRow {
  uint32_t code;
  uint32_t (Controller::*front)(tagCommandControlInfo*);
  uint32_t requirements;
};

constexpr std::array<CommandRow, 22> kCommands{{
    {kKELOCommand_OpenSession, &Controller::AccessCommand_OpenSession, kArgument},
    {kKELOCommand_CloseSession, &Controller::AccessCommand_CloseSession, kSession},
    {kKELOCommand_GetSessionInfo, &Controller::AccessCommand_GetSessionInfo, kArgument},
    {kKELOCommand_SetSessionInfo, &Controller::AccessCommand_SetSessionInfo, kArgument},
    {kKELOCommand_Abort, &Controller::AccessCommand_Abort, 0},
    {kKELOCommand_LoadHierarchy, &Controller::AccessCommand_LoadHierarchy, kSession},
    {kKELOCommand_GetItemsCount, &Controller::AccessCommand_GetItemsCount,
     kArgument | kSession | kCache},
    {kKELOCommand_GetItemsList, &Controller::AccessCommand_GetItemsList,
     kArgument | kSession | kCache},
    {kKELOCommand_GetItemInfo, &Controller::AccessCommand_GetItemInfo,
     kArgument | kSession | kCache},
    {kKELOCommand_AddItems, &Controller::AccessCommand_AddItems, kArgument | kSession},
    {kKELOCommand_AddNewLink, &Controller::AccessCommand_AddNewLink, kArgument | kSession},
    {kKELOCommand_Upload, &Controller::AccessCommand_Upload, kArgument | kSession},
    {kKELOCommand_VerifyRecipient, &Controller::AccessCommand_VerifyRecipient,
     kArgument | kSession},
    {kKELOCommand_GetAddressList, &Controller::AccessCommand_GetAddressList, kArgument | kSession},
    {kKELOCommand_SendPictureMail, &Controller::AccessCommand_SendPictureMail,
     kArgument | kSession},
    {kKELOCommand_GetStorageCapacity, &Controller::AccessCommand_GetStorageCapacity,
     kArgument | kSession},
    {kKELOCommand_ModifyProps, &Controller::AccessCommand_ModifyProps, kArgument | kSession},
    {kKELOCommand_RegisterEventCallBack, &Controller::AccessCommand_RegisterEventCallBack,
     kArgument},
    {kKELOCommand_UnregisterEventCallBack, &Controller::AccessCommand_UnregisterEventCallBack,
     kRecord},
    {kKELOCommand_ExtendTokenLimit, &Controller::AccessCommand_ExtendTokenLimit, kArgument},
    {kKELOCommand_AddTags, &Controller::AccessCommand_AddTags, kArgument | kSession},
    {kKELOCommand_Download, &Controller::AccessCommand_Download, kArgument | kSession},
}};

constexpr bool StrictlyAscending(const std::array<CommandRow, kCommands.size()>& rows) {
  for (size_t i = 1; i < rows.size(); ++i) {
    if (rows[i - 1].code >= rows[i].code) return false;
  }
  return true;
}
static_assert(StrictlyAscending(kCommands));

// The host's record, aligned. Nothing behind the signing secret is read.
tagCommandControlInfo CopyCommandRecord(const tagCommandControlInfo* info) {
  tagCommandControlInfo copy{};
  std::memcpy(&copy, info,
              offsetof(tagCommandControlInfo, signingSecret) + sizeof copy.signingSecret);
  return copy;
}

}  // namespace

uint32_t KELOAccessCommandController::AccessCommand(uint32_t code, tagCommandControlInfo* info) {
  return AccessCommandBranch(code, info);
}

uint32_t KELOAccessCommandController::AccessCommandBranch(uint32_t code,
                                                          tagCommandControlInfo* info) {
  const auto row = std::ranges::lower_bound(kCommands, code, {}, &CommandRow::code);
  if (row == kCommands.end() || row->code != code) return kKELOResult_Success;
  // Not a command that runs: it comes while another one does, maybe on another thread.
  if (code == kKELOCommand_Abort) return AccessCommand_Abort(nullptr);
  const AbortSignal::CommandScope running(*abort_);
  runningCommand_ = code;
  // A command that needs no record reads none.
  tagCommandControlInfo copy{};
  tagCommandControlInfo* record = nullptr;
  if (info != nullptr && row->requirements != 0) {
    copy = CopyCommandRecord(info);
    record = &copy;
  }
  const uint32_t failure = CheckRequirements(row->requirements, record);
  return failure != kKELOResult_Success ? failure : (this->*row->front)(record);
}

uint32_t KELOAccessCommandController::CheckRequirements(uint32_t requirements,
                                                        const tagCommandControlInfo* info) const {
  if ((requirements & kRecord) && info == nullptr) return kKELOResult_BadParameter;
  if ((requirements & kData) && info->data == nullptr) return kKELOResult_BadParameter;
  if ((requirements & kSession) && !IsExistSessionInfo()) return kKELOResult_NoSession;
  if ((requirements & kCache) && !cacheManager_) return kKELOResult_GeneralFailure;
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::AccessCommand_OpenSession(tagCommandControlInfo* info) {
  return ProcessOpenSession(info);
}

uint32_t KELOAccessCommandController::AccessCommand_CloseSession(tagCommandControlInfo* info) {
  return ProcessCloseSession(info);
}

uint32_t KELOAccessCommandController::AccessCommand_ExtendTokenLimit(tagCommandControlInfo* info) {
  const auto session = LoadRecord<tagKELO_SessionInfo>(info->data);
  if (session.token[0] == '\0' || session.manageUrl[0] == '\0') return kKELOResult_BadParameter;
  return ProcessExtendTokenLimit(info);
}

uint32_t KELOAccessCommandController::AccessCommand_LoadHierarchy(tagCommandControlInfo* info) {
  return ProcessLoadHierarchy(info);
}

uint32_t KELOAccessCommandController::AccessCommand_AddItems(tagCommandControlInfo* info) {
  return ProcessAddItems(info);
}

uint32_t KELOAccessCommandController::AccessCommand_AddNewLink(tagCommandControlInfo* info) {
  return ProcessAddNewLink(info);
}

uint32_t KELOAccessCommandController::AccessCommand_Upload(tagCommandControlInfo* info) {
  if (!IsCorrectUploadParam(info)) return kKELOResult_BadParameter;
  return ProcessUpload(info);
}

uint32_t KELOAccessCommandController::AccessCommand_VerifyRecipient(tagCommandControlInfo* info) {
  return ProcessVerifyRecipient(info);
}

uint32_t KELOAccessCommandController::AccessCommand_GetAddressList(tagCommandControlInfo* info) {
  return ProcessGetAddressList(info);
}

uint32_t KELOAccessCommandController::AccessCommand_SendPictureMail(tagCommandControlInfo* info) {
  if (!IsCorrectSendPictureMailParam(info)) return kKELOResult_BadParameter;
  return ProcessSendPictureMail(info);
}

uint32_t KELOAccessCommandController::AccessCommand_GetStorageCapacity(
    tagCommandControlInfo* info) {
  return ProcessGetStorageCapacity(info);
}

uint32_t KELOAccessCommandController::AccessCommand_ModifyProps(tagCommandControlInfo* info) {
  return ProcessModifyProps(info);
}

uint32_t KELOAccessCommandController::AccessCommand_AddTags(tagCommandControlInfo* info) {
  return ProcessAddTags(info);
}

uint32_t KELOAccessCommandController::AccessCommand_Download(tagCommandControlInfo* info) {
  return ProcessDownload(info);
}

// Only the first record is looked at, deliberately: the others are sent as they are.
bool KELOAccessCommandController::IsCorrectUploadParam(tagCommandProcParam* param) {
  if (param->entryCount == 0) return true;
  const auto first = LoadRecord<tagKELO_LoadInfo>(param->data);
  return first.fileModifyDate[0] != '\0' && first.fileCreateDate[0] != '\0';
}

bool KELOAccessCommandController::IsCorrectSendPictureMailParam(tagCommandProcParam* param) {
  return param->targetId[0] != '\0';
}

bool KELOAccessCommandController::IsCorrectGetItemParam(tagCommandProcParam* param) {
  const uint32_t allowed = AllowedKinds(ReadTextField(param->targetId));
  const uint32_t wanted = param->selectionFlags;
  return (wanted & ~allowed) == 0 && wanted != 0;
}

uint32_t KELOAccessCommandController::AllowedKinds(std::string_view target) const {
  constexpr uint32_t kAlbums = kKELOKind_Album | kKELOKind_SharedAlbum;
  constexpr uint32_t kRootKinds = kAlbums | kKELOKind_Folder | kKELOKind_RootAlbum;
  constexpr uint32_t kServerKinds = kRootKinds | kKELOKind_FileItem | kKELOKind_FriendAlbum;
  if (target.empty()) return kRootKinds;
  if (target == KELO_ALL_ITEMS_ID) return kServerKinds;
  if (target == KELO_ROOT_ALBUM_ID) return kKELOKind_FileItem;
  bool isAlbum = false;
  if (cacheManager_->CheckDirectoryItemID(target, isAlbum)) {
    return isAlbum ? uint32_t{kKELOKind_FileItem} : kAlbums;
  }
  return cacheManager_->CheckFriendAlbumID(target) ? kKELOKind_FileItem : 0;
}

}  // namespace kelo
