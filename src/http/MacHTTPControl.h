// The rules of a request: what is sent, how the wait goes, what each event means, and what is
// cleaned up. The network itself is behind URLLoader, so that a test can hand in scripted events.
//
// Operations run on the calling thread and answer transport codes. httpFuncAbort may come from any
// thread. See KELOHTTPController.h for the rules that callers see.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "http/DownloadFile.h"
#include "http/HTTPConnection.h"
#include "platform/URLLoading.h"

namespace kelo {

class HTTPConnectionMac;

class MacHTTPControl final : private URLConnectionDelegate {
 public:
  /// Where an upload body of 100 MiB of files or more is spooled.
  static constexpr const char* kSpoolPath = "/tmp/tVQLTempFile.dat";

  MacHTTPControl(std::unique_ptr<URLLoader> loader, std::string spoolPath);
  ~MacHTTPControl();

  /// Whom progress goes to; not owned, may be null.
  void setupCallback(HTTPConnectionMac* callback) { pHTTPConnectionMac_ = callback; }
  /// Gives up what is left; sent before destruction.
  void endControl();

  uint32_t httpFuncGET(const std::string& url, const std::string& query, std::string& response,
                       uint32_t timeoutSetting);
  uint32_t httpFuncPUT(const std::string& url, const std::string& query, const std::string& body,
                       std::string& response, uint32_t timeoutSetting);
  uint32_t httpFuncUpload(const std::string& url, const std::string& query,
                          const std::vector<tagHTTPConnection_HeaderInfo>& header,
                          const std::vector<tagHTTPConnection_MultipartBody>& partList,
                          std::string& response, uint32_t timeoutSetting);
  uint32_t httpFuncDownload(const std::string& url, const std::string& destPath, uint32_t& fileSize,
                            uint32_t timeoutSetting);

  /// Ends the running operation; always 0. Any thread.
  uint32_t httpFuncAbort();
  /// Whether an abort of the running operation was requested. Any thread.
  bool detectAbort() const { return abortCommandExecution_; }

 private:
  class Operation;

  void DidReceiveResponse(int status, std::optional<uint64_t> contentLength) override;
  void DidReceiveData(std::string_view data) override;
  void DidFinishLoading() override;
  void DidFailWithError(std::string_view domain, int code) override;

  uint32_t PerformForText(const URLRequest& request, std::string& response);
  void RunWaitLoop(const URLRequest& request);
  void TakeResponse(std::string& response);
  bool AnyFailure() const;
  void WriteDownload(std::string_view data);
  void ReportUpload(const std::string& path, uint64_t done, uint64_t total);

  const std::unique_ptr<URLLoader> loader_;
  const std::string spoolPath_;
  HTTPConnectionMac* pHTTPConnectionMac_ = nullptr;

  // The running operation, touched by its own thread only.
  std::unique_ptr<URLConnection> pNSURLConnection_;
  std::string pHTTPResponseData_;
  bool httpResponseDataReceiveFinished_ = false;
  bool httpConnectionDidFailWithError_ = false;
  bool httpConnectionDidReceiveResponseError_ = false;
  bool httpDownloadDidFailWithError_ = false;
  bool httpConnectionDownloadActive_ = false;
  uint64_t httpConnectionDownloadFinishedSize_ = 0;
  uint64_t httpConnectionDownloadTotalSize_ = 0;
  DownloadFile httpConnectionDownloadOutputStream_;
  uint32_t httpConnectionResult_ = 0;

  // Shared with httpFuncAbort. The lock orders the beginning and the end of an operation against
  // aborts; it is never held while anything else happens.
  std::mutex operationLock_;
  std::condition_variable operationEnded_;
  uint64_t operationCount_ = 0;
  std::thread::id operationThread_;
  std::atomic<bool> httpConnectionActive_ = false;
  std::atomic<bool> abortCommandExecution_ = false;
};

}  // namespace kelo
