// The operations, the wait loop, the events and the abort.
#include "http/MacHTTPControl.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "http/HTTPConnectionMac.h"
#include "http/TransportCode.h"
#include "http/UploadBody.h"

namespace kelo {
namespace {

constexpr std::chrono::milliseconds kSlice{50};
// More than any answer of the service; a compressed answer could otherwise fill the memory.
constexpr size_t kMostResponseBytes = size_t{512} << 20;
constexpr uint64_t kMostReservedBytes = uint64_t{64} << 20;

std::string URLWithQuery(const std::string& url, const std::string& query) {
  return url + "?" + query.substr(0, query.find('\0'));
}

uint32_t Saturated(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, std::numeric_limits<uint32_t>::max()));
}

uint32_t CodeForStatus(int status, bool download) {
  switch (status) {
    case 200:
      return kTransport_Success;
    case 404:
      return download ? kTransport_DownloadNotFound : kTransport_NotFound;
    case 408:
    case 504:
      return kTransport_TimedOut;
    case 413:
      return kTransport_TooLarge;
    default:
      return kTransport_OtherFailure;
  }
}

}  // namespace

/// One operation from its beginning to its end, whatever ends it.
class MacHTTPControl::Operation {
 public:
  explicit Operation(MacHTTPControl& control, bool download = false) : control_(control) {
    control.pHTTPResponseData_.clear();
    control.httpResponseDataReceiveFinished_ = false;
    control.httpConnectionDidFailWithError_ = false;
    control.httpConnectionDidReceiveResponseError_ = false;
    control.httpDownloadDidFailWithError_ = false;
    control.httpConnectionDownloadActive_ = download;
    control.httpConnectionDownloadFinishedSize_ = 0;
    control.httpConnectionDownloadTotalSize_ = 0;
    control.httpConnectionResult_ = kTransport_Success;
    const std::lock_guard lock(control.operationLock_);
    control.operationThread_ = std::this_thread::get_id();
    control.httpConnectionActive_ = true;
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  ~Operation() {
    control_.httpConnectionDownloadOutputStream_.Discard();
    control_.httpConnectionDownloadActive_ = false;
    control_.pHTTPResponseData_ = {};
    const std::lock_guard lock(control_.operationLock_);
    control_.httpConnectionActive_ = false;
    control_.abortCommandExecution_ = false;  // an abort is for this operation, never for the next
    ++control_.operationCount_;
    control_.operationEnded_.notify_all();
  }

 private:
  MacHTTPControl& control_;
};

MacHTTPControl::MacHTTPControl(std::unique_ptr<URLLoader> loader, std::string spoolPath)
    : loader_(std::move(loader)), spoolPath_(std::move(spoolPath)) {}

MacHTTPControl::~MacHTTPControl() {
  endControl();
}

void MacHTTPControl::endControl() {
  pNSURLConnection_.reset();
}

uint32_t MacHTTPControl::httpFuncGET(const std::string& url, const std::string& query,
                                     std::string& response, uint32_t timeoutSetting) {
  response.clear();
  const Operation operation(*this);
  URLRequest request;
  request.url = URLWithQuery(url, query);
  request.timeout = timeoutSetting;
  return PerformForText(request, response);
}

uint32_t MacHTTPControl::httpFuncPUT(const std::string& url, const std::string& query,
                                     const std::string& body, std::string& response,
                                     uint32_t timeoutSetting) {
  response.clear();
  const Operation operation(*this);
  URLRequest request;
  request.method = "PUT";
  request.url = URLWithQuery(url, query);
  request.timeout = timeoutSetting;
  request.body = std::string_view(body).substr(0, body.find('\0'));
  return PerformForText(request, response);
}

uint32_t MacHTTPControl::httpFuncUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& header,
    const std::vector<tagHTTPConnection_MultipartBody>& partList, std::string& response,
    uint32_t timeoutSetting) {
  response.clear();
  const Operation operation(*this);
  UploadBody body(spoolPath_, [this] { return detectAbort(); });
  if (const uint32_t code = body.Build(partList)) return code;
  if (detectAbort()) return kTransport_Aborted;
  ReportUpload(body.LastPath(), 0, 0);

  URLRequest request;
  request.method = "POST";
  request.url = URLWithQuery(url, query);
  request.timeout = timeoutSetting;
  for (const auto& [name, value] : header) request.headers.push_back({name, value});
  request.body = body.Body();
  request.freshConnection = true;  // over a reused one that dies it could be stored twice
  if (detectAbort()) return kTransport_Aborted;
  RunWaitLoop(request);
  if (httpResponseDataReceiveFinished_) {
    ReportUpload(body.LastPath(), body.FileBytes(), body.FileCount());
    TakeResponse(response);
  }
  return httpConnectionResult_;
}

uint32_t MacHTTPControl::httpFuncDownload(const std::string& url, const std::string& destPath,
                                          uint32_t& fileSize, uint32_t timeoutSetting) {
  fileSize = 0;
  const Operation operation(*this, true);
  if (!IsWellFormedURL(url)) return kTransport_DownloadNotFound;
  if (const uint32_t code = httpConnectionDownloadOutputStream_.Create(destPath)) return code;
  URLRequest request;
  request.url = url;
  request.timeout = timeoutSetting;
  // Not compressed, so that the length announced is that of the file.
  request.headers.push_back({"Accept-Encoding", ""});
  if (detectAbort()) return kTransport_Aborted;
  RunWaitLoop(request);
  if (httpConnectionResult_ == kTransport_Success) {
    httpConnectionResult_ = httpConnectionDownloadOutputStream_.Keep();
  }
  if (httpConnectionResult_ == kTransport_Success) {
    fileSize = Saturated(httpConnectionDownloadFinishedSize_);
  }
  return httpConnectionResult_;
}

uint32_t MacHTTPControl::httpFuncAbort() {
  std::unique_lock lock(operationLock_);
  if (!httpConnectionActive_) return 0;
  abortCommandExecution_ = true;
  if (operationThread_ == std::this_thread::get_id()) {
    // From inside a progress callback: waiting for the end would be waiting for ourselves.
    if (pNSURLConnection_) pNSURLConnection_->Cancel();
    return 0;
  }
  const uint64_t running = operationCount_;
  loader_->WakeUp();
  operationEnded_.wait(lock, [&] { return operationCount_ != running; });
  return 0;
}

uint32_t MacHTTPControl::PerformForText(const URLRequest& request, std::string& response) {
  if (detectAbort()) return kTransport_Aborted;
  RunWaitLoop(request);
  if (httpResponseDataReceiveFinished_) TakeResponse(response);
  return httpConnectionResult_;
}

void MacHTTPControl::RunWaitLoop(const URLRequest& request) {
  struct Release {
    std::unique_ptr<URLConnection>& connection;
    ~Release() { connection.reset(); }
  } const release{pNSURLConnection_};
  pNSURLConnection_ = loader_->Start(request, *this);
  for (;;) {
    loader_->RunSlice(kSlice);
    if (httpResponseDataReceiveFinished_) break;
    if (detectAbort()) {
      httpConnectionResult_ = kTransport_Aborted;
      return;
    }
    if (httpConnectionDidFailWithError_ || httpDownloadDidFailWithError_) break;
  }
  if (!AnyFailure()) httpConnectionResult_ = kTransport_Success;
}

bool MacHTTPControl::AnyFailure() const {
  return httpConnectionDidFailWithError_ || httpConnectionDidReceiveResponseError_ ||
         httpDownloadDidFailWithError_;
}

void MacHTTPControl::TakeResponse(std::string& response) {
  response = std::move(pHTTPResponseData_);
  response.resize(std::min(response.find('\0'), response.size()));
}

void MacHTTPControl::DidReceiveResponse(int status, std::optional<uint64_t> contentLength) {
  httpConnectionResult_ = CodeForStatus(status, httpConnectionDownloadActive_);
  httpConnectionDidReceiveResponseError_ = status != 200;
  if (!httpConnectionDownloadActive_) {
    pHTTPResponseData_.reserve(std::min(contentLength.value_or(0), kMostReservedBytes));
  } else if (status == 200) {
    httpConnectionDownloadTotalSize_ = contentLength.value_or(0);
  }
}

void MacHTTPControl::DidReceiveData(std::string_view data) {
  if (httpConnectionDownloadActive_) return WriteDownload(data);
  if (data.size() <= kMostResponseBytes - pHTTPResponseData_.size()) {
    pHTTPResponseData_.append(data);
    return;
  }
  httpConnectionDidFailWithError_ = true;
  httpConnectionResult_ = kTransport_OtherFailure;
  pNSURLConnection_->Cancel();
}

void MacHTTPControl::WriteDownload(std::string_view data) {
  if (AnyFailure() || !httpConnectionDownloadOutputStream_.IsOpen()) {
    // The body of a failure is dropped, and one without an end given up.
    httpConnectionDownloadFinishedSize_ += data.size();
    if (httpConnectionDownloadFinishedSize_ > kMostResponseBytes) {
      httpConnectionDidFailWithError_ = true;
      pNSURLConnection_->Cancel();
    }
    return;
  }
  if (const uint32_t code = httpConnectionDownloadOutputStream_.Write(data)) {
    httpDownloadDidFailWithError_ = true;
    httpConnectionResult_ = code;
  }
  httpConnectionDownloadFinishedSize_ += data.size();
  if (pHTTPConnectionMac_ == nullptr) return;
  pHTTPConnectionMac_->ExecuteCallback_DownloadProgress(
      "", Saturated(httpConnectionDownloadFinishedSize_),
      Saturated(httpConnectionDownloadTotalSize_));
}

void MacHTTPControl::DidFinishLoading() {
  httpResponseDataReceiveFinished_ = true;
}

void MacHTTPControl::DidFailWithError(std::string_view domain, int code) {
  httpConnectionDidFailWithError_ = true;
  if (domain != kURLErrorDomain) {
    httpConnectionResult_ = kTransport_OtherFailure;
    return;
  }
  switch (code) {
    case kURLError_CannotFindHost:
    case kURLError_DNSLookupFailed:
      httpConnectionResult_ = kTransport_NotFound;
      break;
    case kURLError_ConnectionLost:
      httpConnectionResult_ = kTransport_ConnectionLost;
      break;
    case kURLError_TimedOut:
      httpConnectionResult_ = kTransport_TimedOut;
      break;
    case kURLError_Cancelled:
      break;
    default:
      httpConnectionResult_ = kTransport_OtherFailure;
  }
}

void MacHTTPControl::ReportUpload(const std::string& path, uint64_t done, uint64_t total) {
  if (pHTTPConnectionMac_ == nullptr) return;
  pHTTPConnectionMac_->ExecuteCallback_UploadProgress(path, Saturated(done), Saturated(total));
}

}  // namespace kelo
