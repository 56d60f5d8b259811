// Progress on its way to the command controller, and the trace around each request.
#include "controller/KELOAccessHTTPController.h"

#include "controller/KELOAccessCommandController.h"
#include "controller/RequestTrace.h"

namespace kelo {

void KELOAccessHTTPController::SetCallback(void* commandController) {
  commandController_ = static_cast<KELOAccessCommandController*>(commandController);
}

template <typename Perform>
uint32_t KELOAccessHTTPController::Traced(const TracedRequest& request, const std::string* answer,
                                          Perform perform) {
  RequestTrace trace;
  const uint32_t result = perform();
  if (trace.IsWanted()) {
    const uint32_t command = commandController_ ? commandController_->RunningCommand() : 0;
    trace.Write(command, request, LastTransfer(), answer, result);
  }
  return result;
}

uint32_t KELOAccessHTTPController::HTTPRequestPUT(const std::string& url, const std::string& query,
                                                  const std::string& body, std::string& response,
                                                  uint32_t timeout) {
  return Traced(
      {"PUT", url, query, body}, &response,
      [&] { return KELOHTTPController::HTTPRequestPUT(url, query, body, response, timeout); });
}

uint32_t KELOAccessHTTPController::HTTPRequestGET(const std::string& url, const std::string& query,
                                                  std::string& response, uint32_t timeout) {
  return Traced(
      {"GET", url, query, {}}, &response,
      [&] { return KELOHTTPController::HTTPRequestGET(url, query, response, timeout); });
}

uint32_t KELOAccessHTTPController::HTTPRequestFileUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& headers,
    const std::vector<tagHTTPConnection_MultipartBody>& parts, std::string& response,
    uint32_t timeout) {
  const std::string_view document = parts.empty() ? std::string_view() : parts.front().bytes;
  return Traced({"POST", url, query, document}, &response, [&] {
    return KELOHTTPController::HTTPRequestFileUpload(url, query, headers, parts, response, timeout);
  });
}

uint32_t KELOAccessHTTPController::HTTPFileDownload(const std::string& url,
                                                    const std::string& destPath, uint32_t& fileSize,
                                                    uint32_t timeout) {
  return Traced(
      {"GET", url, {}, {}}, nullptr,
      [&] { return KELOHTTPController::HTTPFileDownload(url, destPath, fileSize, timeout); });
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
