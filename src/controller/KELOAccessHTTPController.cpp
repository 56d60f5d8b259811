// Hands progress on to the command controller, and writes a line of the trace for each request.
#include "controller/KELOAccessHTTPController.h"

#include "controller/KELOAccessCommandController.h"
#include "controller/RequestTrace.h"

namespace kelo {

void KELOAccessHTTPController::SetCallback(void* commandController) {
  commandController_ = static_cast<KELOAccessCommandController*>(commandController);
}

uint32_t KELOAccessHTTPController::Perform(std::string_view method, const HTTPRequest& request,
                                           const std::string* answer,
                                           const std::function<TransportCode()>& send) {
  const RequestTrace trace;
  const uint32_t result = KELOHTTPController::Perform(method, request, answer, send);
  if (trace.IsWanted()) {
    const uint32_t command = commandController_ ? commandController_->RunningCommand() : 0;
    const std::string_view document =
        request.parts.empty() ? request.body : request.parts.front().bytes;
    trace.Write(command, {method, request.url, request.query, document}, LastTransfer(), answer,
                result);
  }
  return result;
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
