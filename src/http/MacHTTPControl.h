// The rules of a request: what is sent, how the wait goes, what each event means, and what is
// cleaned up. The network itself is behind URLLoader, so that a test can hand in scripted events.
//
// Operations run on the calling thread and answer transport codes. httpFuncAbort may come from any
// thread. See KELOHTTPController.h for the rules that callers see.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/ArrivingFile.h"
#include "http/HTTPConnection.h"
#include "platform/AbortSignal.h"
#include "platform/URLLoading.h"

namespace kelo {

class HTTPConnectionMac;
class UploadBody;

class MacHTTPControl final : private URLConnectionDelegate {
 public:
  // Where an upload body of 100 MiB of files or more is spooled.
  static constexpr const char* kSpoolPath = "/tmp/tVQLTempFile.dat";

  // `abort` ends the operations; it is shared with those who raise it.
  MacHTTPControl(std::unique_ptr<URLLoader> loader, std::string spoolPath,
                 std::shared_ptr<AbortSignal> abort);

  // Whom progress goes to; not owned, may be null.
  void setupCallback(HTTPConnectionMac* callback) { pHTTPConnectionMac_ = callback; }
  // Sent before destruction. Nothing is left then: a connection goes with its operation.
  void endControl() {}

  TransportCode httpFuncGET(const HTTPRequest& request, std::string& response);
  TransportCode httpFuncPUT(const HTTPRequest& request, std::string& response);
  TransportCode httpFuncUpload(const HTTPRequest& request, std::string& response);
  TransportCode httpFuncDownload(const HTTPRequest& request, uint32_t& fileSize);

  // Raises the abort signal; always 0. Any thread.
  TransportCode httpFuncAbort();
  // Whether the running command is to end. Any thread.
  bool detectAbort() const { return abort_->IsRaised(); }

  // What became of the last operation's request.
  const URLTransferInfo& LastTransfer() const { return lastTransfer_; }

 private:
  // One operation from its beginning to its end, whatever ends it.
  struct Operation {
    explicit Operation(MacHTTPControl& running, bool download = false);
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    ~Operation();

    MacHTTPControl& control;
    const AbortSignal::RequestScope scope;  // ends last, when all else has been cleaned up
    const bool httpConnectionDownloadActive;
    std::string pHTTPResponseData;
    bool httpResponseDataReceiveFinished = false;
    bool httpConnectionDidFailWithError = false;
    bool httpConnectionDidReceiveResponseError = false;
    bool httpDownloadDidFailWithError = false;
    bool responseTooLong = false;
    uint64_t httpConnectionDownloadFinishedSize = 0;
    uint64_t httpConnectionDownloadTotalSize = 0;
    TransportCode httpConnectionResult = TransportCode::Success;
    ArrivingFile httpConnectionDownloadOutputStream;
    const UploadBody* uploadBody = nullptr;  // whose progress is reported while it travels
    uint64_t uploadReported = 0;             // bytes of files
    std::chrono::steady_clock::time_point lastReport;
    std::unique_ptr<URLConnection> pNSURLConnection;

    bool AnyFailure() const;
  };

  void DidReceiveResponse(int status, std::optional<uint64_t> contentLength) override;
  void DidReceiveData(std::string_view data) override;
  void DidFinishLoading() override;
  void DidFailWithError(std::string_view domain, int code) override;

  TransportCode PerformForText(const URLRequest& request, std::string& response);
  void RunWaitLoop(const URLRequest& request);
  void RefuseLongResponse();
  void TakeResponse(std::string& response);
  void WriteDownload(std::string_view data);
  void ReportDownload();
  void ReportUpload(const std::string& path, uint64_t done, uint64_t total);
  void ReportUploadUnderWay();

  const std::unique_ptr<URLLoader> loader_;
  const std::string spoolPath_;
  const std::shared_ptr<AbortSignal> abort_;
  HTTPConnectionMac* pHTTPConnectionMac_ = nullptr;
  Operation* operation_ = nullptr;  // the one that runs
  URLTransferInfo lastTransfer_;
};

}  // namespace kelo
