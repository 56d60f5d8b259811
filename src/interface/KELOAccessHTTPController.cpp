#include "interface/KELOAccessHTTPController.h"

#include "interface/KELOAccessCommandController.h"

namespace kelo {

void KELOAccessHTTPController::SetCallback(void* commandController) {
  commandController_ = static_cast<KELOAccessCommandController*>(commandController);
}

void KELOAccessHTTPController::Callback_UploadProgress(const std::string& name,
                                                       const uint32_t& done,
                                                       const uint32_t& total) {
  if (commandController_) commandController_->Callback_UploadProgress(name, done, total);
}

void KELOAccessHTTPController::Callback_DownloadProgress(const std::string& name,
                                                         const uint32_t& done,
                                                         const uint32_t& total) {
  if (commandController_) commandController_->Callback_DownloadProgress(name, done, total);
}

}  // namespace kelo
