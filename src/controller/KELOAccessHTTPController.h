// The HTTP controller that knows the command controller: it hands it the progress of transfers, and
// writes the trace of requests where one is wanted.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "http/KELOHTTPController.h"

namespace kelo {

class KELOAccessCommandController;
struct TracedRequest;

class KELOAccessHTTPController : public KELOHTTPController {
 public:
  // With a signal of its own, where `abort` is null.
  explicit KELOAccessHTTPController(std::shared_ptr<AbortSignal> abort = nullptr)
      : KELOHTTPController(std::move(abort)) {}

  // The requests, traced.
  uint32_t HTTPRequestPUT(const std::string& url, const std::string& query, const std::string& body,
                          std::string& response, uint32_t timeout) override;
  uint32_t HTTPRequestGET(const std::string& url, const std::string& query, std::string& response,
                          uint32_t timeout) override;
  uint32_t HTTPRequestFileUpload(const std::string& url, const std::string& query,
                                 const std::vector<tagHTTPConnection_HeaderInfo>& headers,
                                 const std::vector<tagHTTPConnection_MultipartBody>& parts,
                                 std::string& response, uint32_t timeout) override;
  uint32_t HTTPFileDownload(const std::string& url, const std::string& destPath, uint32_t& fileSize,
                            uint32_t timeout) override;

  // `commandController` is a KELOAccessCommandController, not owned; null stops the delivery.
  void SetCallback(void* commandController) override;
  void Callback_UploadProgress(const std::string& name, const uint32_t& done,
                               const uint32_t& total) override;
  void Callback_DownloadProgress(const std::string& name, const uint32_t& done,
                                 const uint32_t& total) override;

 private:
  template <typename Perform>
  uint32_t Traced(const TracedRequest& request, const std::string* answer, Perform perform);

  KELOAccessCommandController* commandController_ = nullptr;
};

}  // namespace kelo
