// The platform connection: forwards each operation to its MacHTTPControl inside an autorelease
// scope.
#pragma once

#include <memory>

#include "http/HTTPConnection.h"

namespace kelo {

class AbortSignal;
class MacHTTPControl;
class URLLoader;

class HTTPConnectionMac final : public HTTPConnectionBase {
 public:
  // Its requests end when `abort` is raised.
  explicit HTTPConnectionMac(std::shared_ptr<AbortSignal> abort);
  // Over another loader and with another place for the upload spool file.
  HTTPConnectionMac(std::unique_ptr<URLLoader> loader, const std::string& spoolPath,
                    std::shared_ptr<AbortSignal> abort = nullptr);
  ~HTTPConnectionMac() override;

  TransportCode HTTPRequestPUT(const HTTPRequest& request, std::string& response) override;
  TransportCode HTTPRequestGET(const HTTPRequest& request, std::string& response) override;
  TransportCode HTTPRequestFileUpload(const HTTPRequest& request, std::string& response) override;
  TransportCode HTTPFileDownload(const HTTPRequest& request, uint32_t& fileSize) override;
  TransportCode HTTPAbort() override;
  URLTransferInfo LastTransfer() const override;

 private:
  std::unique_ptr<MacHTTPControl> control_;
};

}  // namespace kelo
