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

  TransportCode HTTPRequestPUT(const std::string& url, const std::string& query,
                               const std::string& body, std::string& response,
                               uint32_t timeout) override;
  TransportCode HTTPRequestGET(const std::string& url, const std::string& query,
                               std::string& response, uint32_t timeout) override;
  TransportCode HTTPRequestFileUpload(const std::string& url, const std::string& query,
                                      const std::vector<tagHTTPConnection_HeaderInfo>& headers,
                                      const std::vector<tagHTTPConnection_MultipartBody>& parts,
                                      std::string& response, uint32_t timeout) override;
  TransportCode HTTPFileDownload(const std::string& url, const std::string& destPath,
                                 uint32_t& fileSize, uint32_t timeout) override;
  TransportCode HTTPAbort() override;
  URLTransferInfo LastTransfer() const override;

 private:
  std::unique_ptr<MacHTTPControl> control_;
};

}  // namespace kelo
