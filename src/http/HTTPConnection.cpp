// Forwarding between the controller, its connection and the platform connection.
#include "http/HTTPConnection.h"

#include <utility>

#include "http/HTTPConnectionMac.h"
#include "http/KELOHTTPController.h"

namespace kelo {

TransportCode HTTPConnectionBase::HTTPRequestPUT(const std::string&, const std::string&,
                                                 const std::string&, std::string&, uint32_t) {
  return TransportCode::Success;
}

TransportCode HTTPConnectionBase::HTTPRequestGET(const std::string&, const std::string&,
                                                 std::string&, uint32_t) {
  return TransportCode::Success;
}

TransportCode HTTPConnectionBase::HTTPRequestFileUpload(
    const std::string&, const std::string&, const std::vector<tagHTTPConnection_HeaderInfo>&,
    const std::vector<tagHTTPConnection_MultipartBody>&, std::string&, uint32_t) {
  return TransportCode::Success;
}

TransportCode HTTPConnectionBase::HTTPFileDownload(const std::string&, const std::string&,
                                                   uint32_t&, uint32_t) {
  return TransportCode::Success;
}

TransportCode HTTPConnectionBase::HTTPAbort() {
  return TransportCode::Success;
}

URLTransferInfo HTTPConnectionBase::LastTransfer() const {
  return {};
}

void HTTPConnectionBase::ExecuteCallback_UploadProgress(const std::string& name,
                                                        const uint32_t& done,
                                                        const uint32_t& total) {
  if (owner_ == nullptr || owner_->Callback() == nullptr) return;
  owner_->Callback()->Callback_UploadProgress(name, done, total);
}

void HTTPConnectionBase::ExecuteCallback_DownloadProgress(const std::string& name,
                                                          const uint32_t& done,
                                                          const uint32_t& total) {
  if (owner_ == nullptr || owner_->Callback() == nullptr) return;
  owner_->Callback()->Callback_DownloadProgress(name, done, total);
}

HTTPConnection::HTTPConnection(std::shared_ptr<AbortSignal> abort)
    : HTTPConnection(std::make_unique<HTTPConnectionMac>(std::move(abort))) {}

HTTPConnection::HTTPConnection(std::unique_ptr<HTTPConnectionBase> platform)
    : platform_(std::move(platform)) {
  platform_->SetCallback(this);
}

HTTPConnection::~HTTPConnection() = default;

TransportCode HTTPConnection::HTTPRequestPUT(const std::string& url, const std::string& query,
                                             const std::string& body, std::string& response,
                                             uint32_t timeout) {
  return platform_->HTTPRequestPUT(url, query, body, response, timeout);
}

TransportCode HTTPConnection::HTTPRequestGET(const std::string& url, const std::string& query,
                                             std::string& response, uint32_t timeout) {
  return platform_->HTTPRequestGET(url, query, response, timeout);
}

TransportCode HTTPConnection::HTTPRequestFileUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& headers,
    const std::vector<tagHTTPConnection_MultipartBody>& parts, std::string& response,
    uint32_t timeout) {
  return platform_->HTTPRequestFileUpload(url, query, headers, parts, response, timeout);
}

TransportCode HTTPConnection::HTTPFileDownload(const std::string& url, const std::string& destPath,
                                               uint32_t& fileSize, uint32_t timeout) {
  return platform_->HTTPFileDownload(url, destPath, fileSize, timeout);
}

TransportCode HTTPConnection::HTTPAbort() {
  return platform_->HTTPAbort();
}

}  // namespace kelo
