// Forwarding from the platform connection to its control object.
#include "http/HTTPConnectionMac.h"

#include <utility>

#include "http/MacHTTPControl.h"
#include "platform/AbortSignal.h"
#include "platform/CAutoreleasePool.h"

namespace kelo {

HTTPConnectionMac::HTTPConnectionMac(std::shared_ptr<AbortSignal> abort)
    : HTTPConnectionMac(MakeURLLoader(), MacHTTPControl::kSpoolPath, std::move(abort)) {}

HTTPConnectionMac::HTTPConnectionMac(std::unique_ptr<URLLoader> loader,
                                     const std::string& spoolPath,
                                     std::shared_ptr<AbortSignal> abort) {
  const CAutoreleasePool pool;
  if (!abort) abort = std::make_shared<AbortSignal>();
  control_ = std::make_unique<MacHTTPControl>(std::move(loader), spoolPath, std::move(abort));
  control_->setupCallback(this);
}

HTTPConnectionMac::~HTTPConnectionMac() {
  const CAutoreleasePool pool;
  control_->endControl();
}

TransportCode HTTPConnectionMac::HTTPRequestPUT(const std::string& url, const std::string& query,
                                                const std::string& body, std::string& response,
                                                uint32_t timeout) {
  const CAutoreleasePool pool;
  return control_->httpFuncPUT(url, query, body, response, timeout);
}

TransportCode HTTPConnectionMac::HTTPRequestGET(const std::string& url, const std::string& query,
                                                std::string& response, uint32_t timeout) {
  const CAutoreleasePool pool;
  return control_->httpFuncGET(url, query, response, timeout);
}

TransportCode HTTPConnectionMac::HTTPRequestFileUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& headers,
    const std::vector<tagHTTPConnection_MultipartBody>& parts, std::string& response,
    uint32_t timeout) {
  const CAutoreleasePool pool;
  return control_->httpFuncUpload(url, query, headers, parts, response, timeout);
}

TransportCode HTTPConnectionMac::HTTPFileDownload(const std::string& url,
                                                  const std::string& destPath, uint32_t& fileSize,
                                                  uint32_t timeout) {
  const CAutoreleasePool pool;
  return control_->httpFuncDownload(url, destPath, fileSize, timeout);
}

TransportCode HTTPConnectionMac::HTTPAbort() {
  const CAutoreleasePool pool;
  return control_->httpFuncAbort();
}

URLTransferInfo HTTPConnectionMac::LastTransfer() const {
  return control_->LastTransfer();
}

}  // namespace kelo
