// Forwarding to the connection, and the translation of its codes.
#include "http/KELOHTTPController.h"

#include <utility>

#include "KELOAccess.h"
#include "http/ServerURL.h"
#include "http/TransportCode.h"

namespace kelo {

KELOHTTPController::KELOHTTPController(std::shared_ptr<AbortSignal> abort)
    : KELOHTTPController(std::make_unique<HTTPConnection>(std::move(abort))) {}

KELOHTTPController::KELOHTTPController(std::unique_ptr<HTTPConnection> connection)
    : connection_(std::move(connection)) {
  connection_->SetCallback(this);
}

KELOHTTPController::~KELOHTTPController() = default;

uint32_t KELOHTTPController::HTTPRequestPUT(const std::string& url, const std::string& query,
                                            const std::string& body, std::string& response,
                                            uint32_t timeout) {
  return ConvertErrorCodeHTTPtoKELO(
      connection_->HTTPRequestPUT(url, query, body, response, timeout));
}

uint32_t KELOHTTPController::HTTPRequestGET(const std::string& url, const std::string& query,
                                            std::string& response, uint32_t timeout) {
  return ConvertErrorCodeHTTPtoKELO(connection_->HTTPRequestGET(url, query, response, timeout));
}

uint32_t KELOHTTPController::HTTPRequestFileUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& headers,
    const std::vector<tagHTTPConnection_MultipartBody>& parts, std::string& response,
    uint32_t timeout) {
  return ConvertErrorCodeHTTPtoKELO(
      connection_->HTTPRequestFileUpload(url, query, headers, parts, response, timeout));
}

uint32_t KELOHTTPController::HTTPFileDownload(const std::string& url, const std::string& destPath,
                                              uint32_t& fileSize, uint32_t timeout) {
  return ConvertErrorCodeHTTPtoKELO(
      connection_->HTTPFileDownload(url, destPath, fileSize, timeout));
}

uint32_t KELOHTTPController::HTTPAbort() {
  return ConvertErrorCodeHTTPtoKELO(connection_->HTTPAbort());
}

void KELOHTTPController::SetCallback(void*) {}

void KELOHTTPController::Callback_UploadProgress(const std::string&, const uint32_t&,
                                                 const uint32_t&) {}

void KELOHTTPController::Callback_DownloadProgress(const std::string&, const uint32_t&,
                                                   const uint32_t&) {}

uint32_t KELOHTTPController::ConvertErrorCodeHTTPtoKELO(uint32_t code) {
  static constexpr std::pair<uint32_t, uint32_t> kTable[] = {
      {kTransport_Success, kKELOResult_Success},
      {kTransport_Aborted, kKELOResult_Aborted},
      {kTransport_TimedOut, kKELOResult_TimedOut},
      {kTransport_ConnectionLost, kKELOResult_ConnectionLost},
      {kTransport_TooLarge, kKELOResult_TooLarge},
      {kTransport_DownloadNotFound, kKELOResult_NotFound},
      {kTransport_DestinationExists, kKELOResult_AlreadyExists},
      {kTransport_Conflict, kKELOResult_Conflict},
      {kTransport_DiskFull, kKELOResult_NoSpace},
      {kTransport_DestinationUnusable, kKELOResult_DestinationUnusable},
      {kTransport_UploadFileUnreadable, kKELOResult_NotFound},
  };
  for (const auto& [transport, result] : kTable) {
    if (transport == code) return result;
  }
  return kKELOResult_TransportFailure;
}

void KELOHTTPController::GetURLofGAServer(std::string& url) {
  url = ServerURL(kGAServer);
}

void KELOHTTPController::GetURLofKELOServer(std::string& url) {
  url = ServerURL(kKELOServer);
}

}  // namespace kelo
