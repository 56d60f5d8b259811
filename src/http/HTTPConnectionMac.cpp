// Hands each operation of the platform connection to its control object.
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

TransportCode HTTPConnectionMac::HTTPRequestPUT(const HTTPRequest& request, std::string& response) {
  const CAutoreleasePool pool;
  return control_->httpFuncPUT(request, response);
}

TransportCode HTTPConnectionMac::HTTPRequestGET(const HTTPRequest& request, std::string& response) {
  const CAutoreleasePool pool;
  return control_->httpFuncGET(request, response);
}

TransportCode HTTPConnectionMac::HTTPRequestFileUpload(const HTTPRequest& request,
                                                       std::string& response) {
  const CAutoreleasePool pool;
  return control_->httpFuncUpload(request, response);
}

TransportCode HTTPConnectionMac::HTTPFileDownload(const HTTPRequest& request, uint32_t& fileSize) {
  const CAutoreleasePool pool;
  return control_->httpFuncDownload(request, fileSize);
}

TransportCode HTTPConnectionMac::HTTPAbort() {
  const CAutoreleasePool pool;
  return control_->httpFuncAbort();
}

URLTransferInfo HTTPConnectionMac::LastTransfer() const {
  return control_->LastTransfer();
}

}  // namespace kelo
