// The host's event callback: kept, given up, and called with progress. And the abort command.

#include <unistd.h>

#include <cstring>

#include "controller/KELOAccessCommandController.h"
#include "platform/AbortSignal.h"

namespace kelo {

uint32_t KELOAccessCommandController::AccessCommand_RegisterEventCallBack(
    tagCommandControlInfo* info) {
  static_assert(sizeof eventCallback_ == sizeof info->data);
  std::memcpy(&eventCallback_, &info->data, sizeof eventCallback_);
  eventMask_ = info->selectionFlags;
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::AccessCommand_UnregisterEventCallBack(
    tagCommandControlInfo* info) {
  eventMask_ &= ~info->selectionFlags;
  return kKELOResult_Success;
}

// May run on another thread than the running command, at any moment of that: also while the first
// command makes the HTTP controller.
uint32_t KELOAccessCommandController::AccessCommand_Abort(tagCommandControlInfo*) {
  abort_->Raise();
  return kKELOResult_Success;
}

void KELOAccessCommandController::Callback_DownloadProgress(const std::string&,
                                                            const uint32_t& done,
                                                            const uint32_t& total) {
  progress_.transferDone = done;
  progress_.transferTotal = total;
  DeliverEvent(kKELOEvent_DownloadProgress);
}

void KELOAccessCommandController::Callback_UploadProgress(const std::string&, const uint32_t& done,
                                                          const uint32_t& total) {
  progress_.transferDone = done;
  progress_.fourthWord = total;
  DeliverEvent(kKELOEvent_UploadProgress);
}

void KELOAccessCommandController::DeliverEvent(uint32_t event) {
  if ((eventMask_ & kKELOEventMask_Progress) == 0 || eventCallback_ == nullptr) return;
  const tagKELO_ProgressInfo record = progress_;
  const pid_t process = getpid();
  eventCallback_(event, kKELOEventKind_Progress, &record);
  // If the host forked in its callback, the child comes back here too, but the request is the
  // parent's.
  if (getpid() != process) abort_->Raise();
}

}  // namespace kelo
