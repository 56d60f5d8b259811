// Finds the work function of a command code in the command table, and makes the checks that its row
// asks for.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "controller/KELOAccessCommandController.h"
#include "platform/AbortSignal.h"

namespace kelo {
namespace {

using Controller = KELOAccessCommandController;

// What a command needs before its work function runs, in the order of the checks.
constexpr uint32_t kRecord = 1;        // 4112
constexpr uint32_t kData = 2;          // 4112: the record's data pointer
constexpr uint32_t kSession = 4;       // 4116
constexpr uint32_t kCache = 8;         // 4144: a catalogue that some earlier command has made
constexpr uint32_t kControllers = 16;  // made now, behind all checks
constexpr uint32_t kArgument = kRecord | kData;
constexpr uint32_t kEdit = kArgument | kSession | kControllers;

struct CommandRow {
  uint32_t code;
  uint32_t (Controller::*work)(tagCommandControlInfo*);
  uint32_t requirements;
  // The command's own check, behind the others, and what its failure is.
  bool (Controller::*isCorrect)(tagCommandProcParam*) = nullptr;
  uint32_t otherwise = kKELOResult_BadParameter;
};

constexpr std::array<CommandRow, 21> kCommands{{
    {kKELOCommand_OpenSession, &Controller::ProcessOpenSession, kArgument | kControllers},
    {kKELOCommand_CloseSession, &Controller::ProcessCloseSession, kSession | kControllers},
    {kKELOCommand_GetSessionInfo, &Controller::AccessCommand_GetSessionInfo, kArgument},
    {kKELOCommand_SetSessionInfo, &Controller::AccessCommand_SetSessionInfo,
     kArgument | kControllers},
    {kKELOCommand_LoadHierarchy, &Controller::ProcessLoadHierarchy, kSession | kControllers},
    {kKELOCommand_GetItemsCount, &Controller::AccessCommand_GetItemsCount,
     kArgument | kSession | kCache, &Controller::IsCorrectGetItemParam, kKELOResult_InvalidTarget},
    {kKELOCommand_GetItemsList, &Controller::AccessCommand_GetItemsList,
     kArgument | kSession | kCache, &Controller::IsCorrectGetItemParam, kKELOResult_InvalidTarget},
    {kKELOCommand_GetItemInfo, &Controller::AccessCommand_GetItemInfo,
     kArgument | kSession | kCache},
    {kKELOCommand_AddItems, &Controller::ProcessAddItems, kEdit},
    {kKELOCommand_AddNewLink, &Controller::ProcessAddNewLink, kEdit},
    {kKELOCommand_Upload, &Controller::ProcessUpload, kEdit, &Controller::IsCorrectUploadParam},
    {kKELOCommand_VerifyRecipient, &Controller::ProcessVerifyRecipient, kEdit},
    {kKELOCommand_GetAddressList, &Controller::ProcessGetAddressList, kEdit},
    {kKELOCommand_SendPictureMail, &Controller::ProcessSendPictureMail, kEdit,
     &Controller::IsCorrectSendPictureMailParam},
    {kKELOCommand_GetStorageCapacity, &Controller::ProcessGetStorageCapacity, kEdit},
    {kKELOCommand_ModifyProps, &Controller::ProcessModifyProps, kEdit},
    {kKELOCommand_RegisterEventCallBack, &Controller::AccessCommand_RegisterEventCallBack,
     kArgument},
    {kKELOCommand_UnregisterEventCallBack, &Controller::AccessCommand_UnregisterEventCallBack,
     kRecord},
    {kKELOCommand_ExtendTokenLimit, &Controller::ProcessExtendTokenLimit, kArgument | kControllers,
     &Controller::IsCorrectExtendTokenParam},
    {kKELOCommand_AddTags, &Controller::ProcessAddTags, kEdit},
    {kKELOCommand_Download, &Controller::ProcessDownload, kEdit},
}};

constexpr bool StrictlyAscending(const std::array<CommandRow, kCommands.size()>& rows) {
  for (size_t i = 1; i < rows.size(); ++i)
    if (rows[i - 1].code >= rows[i].code) return false;
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

uint32_t KELOAccessCommandController::AccessCommand(uint32_t code,
                                                    tagCommandControlInfo* info) try {
  return AccessCommandBranch(code, info);
} catch (const CommandAborted&) {
  return kKELOResult_Aborted;
}

uint32_t KELOAccessCommandController::AccessCommandBranch(uint32_t code,
                                                          tagCommandControlInfo* info) {
  // Not a command that runs: it comes while another one does, maybe on another thread.
  if (code == kKELOCommand_Abort) return AccessCommand_Abort(nullptr);
  const auto row = std::ranges::lower_bound(kCommands, code, {}, &CommandRow::code);
  if (row == kCommands.end() || row->code != code) return kKELOResult_Success;
  const AbortSignal::CommandScope running(*abort_);
  runningCommand_ = code;
  const auto needs = [row](uint32_t requirement) { return (row->requirements & requirement) != 0; };
  tagCommandControlInfo record{};
  if (info != nullptr && needs(kRecord)) record = CopyCommandRecord(info);
  if (needs(kRecord) && info == nullptr) return kKELOResult_BadParameter;
  if (needs(kData) && record.data == nullptr) return kKELOResult_BadParameter;
  if (needs(kSession) && !IsExistSessionInfo()) return kKELOResult_NoSession;
  if (needs(kCache) && !cacheManager_) return kKELOResult_GeneralFailure;
  if (row->isCorrect != nullptr && !(this->*row->isCorrect)(&record)) return row->otherwise;
  if (needs(kControllers)) RequireSubControllers();
  return (this->*row->work)(&record);
}

}  // namespace kelo
