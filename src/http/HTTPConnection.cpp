// A connection with its platform connection below it, and the way of progress up from there.
#include "http/HTTPConnection.h"

#include <utility>

#include "http/HTTPConnectionMac.h"
#include "http/KELOHTTPController.h"

namespace kelo {

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

}  // namespace kelo
