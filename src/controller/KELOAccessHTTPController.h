// The HTTP controller that knows the command controller: it hands on the progress of transfers, and
// writes the trace of requests where one is wanted.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "http/KELOHTTPController.h"

namespace kelo {

class KELOAccessCommandController;

class KELOAccessHTTPController : public KELOHTTPController {
 public:
  // With a signal of its own, where `abort` is null.
  explicit KELOAccessHTTPController(std::shared_ptr<AbortSignal> abort = nullptr)
      : KELOHTTPController(std::move(abort)) {}

  // `commandController` is a KELOAccessCommandController, not owned; null stops the delivery.
  void SetCallback(void* commandController) override;
  void Callback_UploadProgress(const std::string& name, const uint32_t& done,
                               const uint32_t& total) override;
  void Callback_DownloadProgress(const std::string& name, const uint32_t& done,
                                 const uint32_t& total) override;

 private:
  // Traced.
  uint32_t Perform(std::string_view method, const HTTPRequest& request, const std::string* answer,
                   const std::function<TransportCode()>& send) override;

  KELOAccessCommandController* commandController_ = nullptr;
};

}  // namespace kelo
