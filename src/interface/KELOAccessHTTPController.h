// The HTTP controller that knows the command controller and hands it the progress of transfers.
#pragma once

#include <string>

#include "http/KELOHTTPController.h"

namespace kelo {

class KELOAccessCommandController;

class KELOAccessHTTPController : public KELOHTTPController {
 public:
  // `commandController` is a KELOAccessCommandController, not owned; null stops the delivery.
  void SetCallback(void* commandController) override;
  void Callback_UploadProgress(const std::string& name, const uint32_t& done,
                               const uint32_t& total) override;
  void Callback_DownloadProgress(const std::string& name, const uint32_t& done,
                                 const uint32_t& total) override;

 private:
  KELOAccessCommandController* commandController_ = nullptr;
};

}  // namespace kelo
