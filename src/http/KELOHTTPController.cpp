// Requests on their way to the connection, and the translation of its codes.
#include "http/KELOHTTPController.h"

#include <utility>

#include "http/TransportCode.h"

namespace kelo {

KELOHTTPController::KELOHTTPController(std::shared_ptr<AbortSignal> abort)
    : KELOHTTPController(std::make_unique<HTTPConnection>(std::move(abort))) {}

KELOHTTPController::KELOHTTPController(std::unique_ptr<HTTPConnection> connection)
    : connection_(std::move(connection)) {
  connection_->SetCallback(this);
}

KELOHTTPController::~KELOHTTPController() = default;

uint32_t KELOHTTPController::Perform(std::string_view, const HTTPRequest&, const std::string*,
                                     const std::function<TransportCode()>& send) {
  return ConvertErrorCodeHTTPtoKELO(send());
}

uint32_t KELOHTTPController::HTTPRequestPUT(const std::string& url, const std::string& query,
                                            const std::string& body, std::string& response,
                                            uint32_t timeout) {
  const HTTPRequest request{.url = url, .query = query, .body = body, .timeout = timeout};
  return Perform("PUT", request, &response,
                 [&] { return connection_->HTTPRequestPUT(request, response); });
}

uint32_t KELOHTTPController::HTTPRequestGET(const std::string& url, const std::string& query,
                                            std::string& response, uint32_t timeout) {
  const HTTPRequest request{.url = url, .query = query, .timeout = timeout};
  return Perform("GET", request, &response,
                 [&] { return connection_->HTTPRequestGET(request, response); });
}

uint32_t KELOHTTPController::HTTPRequestFileUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& headers,
    const std::vector<tagHTTPConnection_MultipartBody>& parts, std::string& response,
    uint32_t timeout) {
  const HTTPRequest request{
      .url = url, .query = query, .headers = headers, .parts = parts, .timeout = timeout};
  return Perform("POST", request, &response,
                 [&] { return connection_->HTTPRequestFileUpload(request, response); });
}

uint32_t KELOHTTPController::HTTPFileDownload(const std::string& url, const std::string& destPath,
                                              uint32_t& fileSize, uint32_t timeout) {
  const HTTPRequest request{.url = url, .destPath = destPath, .timeout = timeout};
  return Perform("GET", request, nullptr,
                 [&] { return connection_->HTTPFileDownload(request, fileSize); });
}

uint32_t KELOHTTPController::HTTPAbort() {
  return ConvertErrorCodeHTTPtoKELO(connection_->HTTPAbort());
}

uint32_t KELOHTTPController::ConvertErrorCodeHTTPtoKELO(TransportCode code) {
  return ResultOfTransport(code);
}

}  // namespace kelo
