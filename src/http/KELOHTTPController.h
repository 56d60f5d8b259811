// The one way to the network for everything above: requests in, result codes out.
//
// Requests are synchronous: they end on the calling thread, one at a time per controller. HTTPAbort
// is the exception: it may come from any thread and raises the controller's abort signal (see
// AbortSignal.h), which ends the running command: its request under way and all that it would send
// after that.
//
// Time-outs are seconds during which nothing moves, not the length of a transfer. Responses are
// delivered also with an error status, and end at their first zero byte. An exception (short
// memory, a throwing progress callback) passes through after the request has been cleaned up.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "http/HTTPConnection.h"

namespace kelo {

class KELOHTTPController {
 public:
  // Its requests end when `abort` is raised; null stands for a signal of its own.
  explicit KELOHTTPController(std::shared_ptr<AbortSignal> abort = nullptr);
  // With another connection, such as one over a scripted loader.
  explicit KELOHTTPController(std::unique_ptr<HTTPConnection> connection);
  KELOHTTPController(const KELOHTTPController&) = delete;
  KELOHTTPController& operator=(const KELOHTTPController&) = delete;
  virtual ~KELOHTTPController();

  // PUT of `body` (up to its first zero byte) to url + "?" + query.
  virtual uint32_t HTTPRequestPUT(const std::string& url, const std::string& query,
                                  const std::string& body, std::string& response, uint32_t timeout);
  // GET of url + "?" + query; the "?" is sent also for an empty query.
  virtual uint32_t HTTPRequestGET(const std::string& url, const std::string& query,
                                  std::string& response, uint32_t timeout);
  // POST of the parts, in order, with exactly the headers given. Nothing is sent unless every file
  // can supply its declared size.
  virtual uint32_t HTTPRequestFileUpload(const std::string& url, const std::string& query,
                                         const std::vector<tagHTTPConnection_HeaderInfo>& headers,
                                         const std::vector<tagHTTPConnection_MultipartBody>& parts,
                                         std::string& response, uint32_t timeout);
  // GET of `url` as it stands into a new file. `fileSize`: bytes received, 0xFFFFFFFF for more; 0
  // on failure. A failure leaves no file; what stood at the destination before is left alone.
  virtual uint32_t HTTPFileDownload(const std::string& url, const std::string& destPath,
                                    uint32_t& fileSize, uint32_t timeout);
  // Raises the abort signal; always 0. No command calls it: the abort command raises the signal by
  // itself.
  virtual uint32_t HTTPAbort();
  // What became of the last request.
  URLTransferInfo LastTransfer() const { return connection_->LastTransfer(); }

  // For derived controllers: whom to tell about progress. Does nothing here.
  virtual void SetCallback(void*) {}
  // Progress: name, bytes done and total, on the thread of the request, no lock held. Upload: (last
  // path, 0, 0) before sending, (last path, bytes of the files that have left, 0) while it goes on,
  // at most every 0.1 s and not in the first 0.1 s, and (last path, bytes of all files, number of
  // files) after it. Download: ("", bytes so far, bytes expected or 0 if unknown). Both do nothing
  // here.
  virtual void Callback_UploadProgress(const std::string&, const uint32_t&, const uint32_t&) {}
  virtual void Callback_DownloadProgress(const std::string&, const uint32_t&, const uint32_t&) {}

  // The result code for a transport code.
  virtual uint32_t ConvertErrorCodeHTTPtoKELO(TransportCode code);

  // Base URLs without a trailing slash, from the server URL file (read afresh each time) or the
  // built-in defaults. The environment variable KELO_URLS_FILE names another file. No command asks
  // for the first one.
  virtual void GetURLofGAServer(std::string& url);
  virtual void GetURLofKELOServer(std::string& url);

 protected:
  // Each of the four requests comes through here: `send` performs it. `answer` is where the
  // service's answer will be, null for a download.
  virtual uint32_t Perform(std::string_view method, const HTTPRequest& request,
                           const std::string* answer, const std::function<TransportCode()>& send);

 private:
  std::unique_ptr<HTTPConnection> connection_;
};

}  // namespace kelo
