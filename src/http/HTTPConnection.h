// The connection that a KELOHTTPController owns, the abstract platform connection below it, and the
// records of a request.
//
// Every operation runs on the calling thread until it is over and answers a transport code
// (TransportCode.h). One operation at a time; only HTTPAbort may come from another thread.
// Exceptions of progress callbacks and std::bad_alloc pass through; the operation has been cleaned
// up by then.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "http/TransportCode.h"
#include "platform/URLLoading.h"

namespace kelo {

class AbortSignal;
class HTTPConnection;
class KELOHTTPController;

// One extra request header.
struct tagHTTPConnection_HeaderInfo {
  std::string name;
  std::string value;
};

// One piece of a multipart body: literal bytes, then a file.
struct tagHTTPConnection_MultipartBody {
  std::string bytes;      // sent as they are; may be empty
  std::string filePath;   // UTF-8; empty: no file
  uint32_t fileSize = 0;  // exactly so many bytes of the file are sent
};

// One request, as it is handed down to the network. The texts must last until it is over.
struct HTTPRequest {
  std::string_view url = {};
  std::string_view query = {};  // behind the URL and a "?"; a download has none
  std::string_view body = {};   // of a PUT
  std::span<const tagHTTPConnection_HeaderInfo> headers = {};   // of a file upload
  std::span<const tagHTTPConnection_MultipartBody> parts = {};  // of a file upload, in order
  std::string_view destPath = {};                               // of a download
  uint32_t timeout = 60;                                        // seconds
};

// The abstract platform connection. The operations of the base do nothing and answer 0.
class HTTPConnectionBase {
 public:
  virtual ~HTTPConnectionBase() = default;

  virtual TransportCode HTTPRequestPUT(const HTTPRequest&, std::string&) { return {}; }
  virtual TransportCode HTTPRequestGET(const HTTPRequest&, std::string&) { return {}; }
  virtual TransportCode HTTPRequestFileUpload(const HTTPRequest&, std::string&) { return {}; }
  virtual TransportCode HTTPFileDownload(const HTTPRequest&, uint32_t&) { return {}; }
  virtual TransportCode HTTPAbort() { return {}; }
  // What became of the last request; all zero before the first.
  virtual URLTransferInfo LastTransfer() const { return {}; }

  // The owner that progress goes to; must outlive this object or be taken back with null.
  void SetCallback(HTTPConnection* owner) { owner_ = owner; }

  // Deliver progress upward; nothing happens without an owner that has a callback.
  void ExecuteCallback_UploadProgress(const std::string& name, const uint32_t& done,
                                      const uint32_t& total);
  void ExecuteCallback_DownloadProgress(const std::string& name, const uint32_t& done,
                                        const uint32_t& total);

 private:
  HTTPConnection* owner_ = nullptr;
};

// Owns one platform connection and forwards to it.
class HTTPConnection {
 public:
  // Its requests end when `abort` is raised; null stands for a signal of its own.
  explicit HTTPConnection(std::shared_ptr<AbortSignal> abort = nullptr);
  // With another platform connection, such as one over a scripted loader.
  explicit HTTPConnection(std::unique_ptr<HTTPConnectionBase> platform);
  HTTPConnection(const HTTPConnection&) = delete;
  HTTPConnection& operator=(const HTTPConnection&) = delete;
  virtual ~HTTPConnection();

  TransportCode HTTPRequestPUT(const HTTPRequest& request, std::string& response) {
    return platform_->HTTPRequestPUT(request, response);
  }
  TransportCode HTTPRequestGET(const HTTPRequest& request, std::string& response) {
    return platform_->HTTPRequestGET(request, response);
  }
  TransportCode HTTPRequestFileUpload(const HTTPRequest& request, std::string& response) {
    return platform_->HTTPRequestFileUpload(request, response);
  }
  TransportCode HTTPFileDownload(const HTTPRequest& request, uint32_t& fileSize) {
    return platform_->HTTPFileDownload(request, fileSize);
  }
  TransportCode HTTPAbort() { return platform_->HTTPAbort(); }
  URLTransferInfo LastTransfer() const { return platform_->LastTransfer(); }

  // The controller that progress goes to; not owned, must outlive the requests.
  void SetCallback(KELOHTTPController* callback) { callback_ = callback; }
  KELOHTTPController* Callback() const { return callback_; }

 private:
  std::unique_ptr<HTTPConnectionBase> platform_;
  KELOHTTPController* callback_ = nullptr;
};

}  // namespace kelo
