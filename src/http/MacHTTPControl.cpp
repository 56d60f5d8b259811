// The operations, the wait loop, the events and the abort.
#include "http/MacHTTPControl.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <new>
#include <utility>

#include "http/HTTPConnectionMac.h"
#include "http/UploadBody.h"

namespace kelo {
namespace {

constexpr std::chrono::milliseconds kSlice{50};
constexpr std::chrono::milliseconds kReportInterval{100};
// More than any answer of the service; a compressed answer could otherwise fill the memory.
constexpr size_t kMaxResponseBytes = size_t{512} << 20;
constexpr uint64_t kMaxReservedBytes = uint64_t{64} << 20;

std::string URLWithQuery(const std::string& url, const std::string& query) {
  return url + "?" + query.substr(0, query.find('\0'));
}

uint32_t Saturated(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, std::numeric_limits<uint32_t>::max()));
}

}  // namespace

MacHTTPControl::Operation::Operation(MacHTTPControl& control, bool download)
    : scope(*control.abort_), httpConnectionDownloadActive(download) {}

bool MacHTTPControl::Operation::AnyFailure() const {
  return httpConnectionDidFailWithError || httpConnectionDidReceiveResponseError ||
         httpDownloadDidFailWithError;
}

class MacHTTPControl::Running {
 public:
  explicit Running(MacHTTPControl& control, bool download = false) : control_(control) {
    control.lastTransfer_ = {};
    control.operation_.emplace(control, download);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { control_.operation_.reset(); }

  Operation* operator->() { return &*control_.operation_; }

 private:
  MacHTTPControl& control_;
};

MacHTTPControl::MacHTTPControl(std::unique_ptr<URLLoader> loader, std::string spoolPath,
                               std::shared_ptr<AbortSignal> abort)
    : loader_(std::move(loader)), spoolPath_(std::move(spoolPath)), abort_(std::move(abort)) {}

MacHTTPControl::~MacHTTPControl() {
  endControl();
}

void MacHTTPControl::endControl() {
  operation_.reset();
}

TransportCode MacHTTPControl::httpFuncGET(const std::string& url, const std::string& query,
                                          std::string& response, uint32_t timeoutSetting) {
  response.clear();
  const Running operation(*this);
  URLRequest request;
  request.url = URLWithQuery(url, query);
  request.timeout = timeoutSetting;
  return PerformForText(request, response);
}

TransportCode MacHTTPControl::httpFuncPUT(const std::string& url, const std::string& query,
                                          const std::string& body, std::string& response,
                                          uint32_t timeoutSetting) {
  response.clear();
  const Running operation(*this);
  URLRequest request;
  request.method = "PUT";
  request.url = URLWithQuery(url, query);
  request.timeout = timeoutSetting;
  request.body = std::string_view(body).substr(0, body.find('\0'));
  return PerformForText(request, response);
}

TransportCode MacHTTPControl::httpFuncUpload(
    const std::string& url, const std::string& query,
    const std::vector<tagHTTPConnection_HeaderInfo>& header,
    const std::vector<tagHTTPConnection_MultipartBody>& partList, std::string& response,
    uint32_t timeoutSetting) {
  response.clear();
  Running operation(*this);
  UploadBody body(spoolPath_, [this] { return detectAbort(); });
  if (detectAbort()) return TransportCode::Aborted;
  if (const TransportCode code = body.Build(partList); code != TransportCode::Success) return code;
  if (detectAbort()) return TransportCode::Aborted;
  ReportUpload(body.LastPath(), 0, 0);

  URLRequest request;
  request.method = "POST";
  request.url = URLWithQuery(url, query);
  request.timeout = timeoutSetting;
  for (const auto& [name, value] : header) request.headers.push_back({name, value});
  request.body = body.Body();
  request.freshConnection = true;  // over a reused one that dies it could be stored twice
  operation->uploadBody = &body;
  RunWaitLoop(request);
  if (operation->httpResponseDataReceiveFinished) {
    ReportUpload(body.LastPath(), body.FileBytes(), body.FileCount());
    TakeResponse(response);
  }
  return operation->httpConnectionResult;
}

TransportCode MacHTTPControl::httpFuncDownload(const std::string& url, const std::string& destPath,
                                               uint32_t& fileSize, uint32_t timeoutSetting) {
  fileSize = 0;
  Running operation(*this, true);
  if (detectAbort()) return TransportCode::Aborted;
  if (!IsWellFormedURL(url)) return TransportCode::DownloadNotFound;
  DownloadFile& file = operation->httpConnectionDownloadOutputStream;
  if (const TransportCode code = file.Create(destPath); code != TransportCode::Success) return code;
  URLRequest request;
  request.url = url;
  request.timeout = timeoutSetting;
  // Not compressed, so that the length announced is that of the file.
  request.headers.push_back({"Accept-Encoding", ""});
  RunWaitLoop(request);
  TransportCode& result = operation->httpConnectionResult;
  if (result == TransportCode::Success) result = file.Keep();
  if (result == TransportCode::Success)
    fileSize = Saturated(operation->httpConnectionDownloadFinishedSize);
  return result;
}

TransportCode MacHTTPControl::httpFuncAbort() {
  abort_->Raise();
  return TransportCode::Success;
}

TransportCode MacHTTPControl::PerformForText(const URLRequest& request, std::string& response) {
  RunWaitLoop(request);
  if (operation_->httpResponseDataReceiveFinished) TakeResponse(response);
  return operation_->httpConnectionResult;
}

void MacHTTPControl::RunWaitLoop(const URLRequest& request) {
  Operation& operation = *operation_;
  if (detectAbort()) {
    operation.httpConnectionResult = TransportCode::Aborted;
    return;
  }
  struct Release {
    MacHTTPControl& control;
    ~Release() {
      std::unique_ptr<URLConnection>& connection = control.operation_->pNSURLConnection;
      try {
        if (connection) control.lastTransfer_ = connection->Info();
      } catch (const std::bad_alloc&) {  // it stays unknown
      }
      if (control.operation_->responseTooLong) control.lastTransfer_.error = kURLError_TooLong;
      connection.reset();
    }
  } const release{*this};
  operation.pNSURLConnection = loader_->Start(request, *this);
  operation.lastReport = std::chrono::steady_clock::now();
  for (;;) {
    loader_->RunSlice(kSlice);
    if (operation.httpResponseDataReceiveFinished) break;
    if (detectAbort()) {
      operation.httpConnectionResult = TransportCode::Aborted;
      return;
    }
    if (operation.httpConnectionDidFailWithError || operation.httpDownloadDidFailWithError) break;
    if (operation.uploadBody != nullptr) ReportUploadUnderWay();
  }
  if (!operation.AnyFailure()) operation.httpConnectionResult = TransportCode::Success;
}

void MacHTTPControl::TakeResponse(std::string& response) {
  response = std::move(operation_->pHTTPResponseData);
  response.resize(std::min(response.find('\0'), response.size()));
}

void MacHTTPControl::DidReceiveResponse(int status, std::optional<uint64_t> contentLength) {
  Operation& operation = *operation_;
  operation.httpConnectionResult =
      TransportCodeOfStatus(status, operation.httpConnectionDownloadActive);
  operation.httpConnectionDidReceiveResponseError = status != 200;
  if (!operation.httpConnectionDownloadActive) {
    operation.pHTTPResponseData.reserve(
        static_cast<size_t>(std::min(contentLength.value_or(0), kMaxReservedBytes)));
  } else if (status == 200) {
    operation.httpConnectionDownloadTotalSize = contentLength.value_or(0);
  }
}

void MacHTTPControl::DidReceiveData(std::string_view data) {
  Operation& operation = *operation_;
  if (operation.httpConnectionDownloadActive) return WriteDownload(data);
  if (data.size() <= kMaxResponseBytes - operation.pHTTPResponseData.size()) {
    operation.pHTTPResponseData.append(data);
    return;
  }
  operation.httpConnectionResult = TransportCode::OtherFailure;
  RefuseLongResponse();
}

void MacHTTPControl::RefuseLongResponse() {
  operation_->httpConnectionDidFailWithError = true;
  operation_->responseTooLong = true;
  operation_->pNSURLConnection->Cancel();
}

void MacHTTPControl::WriteDownload(std::string_view data) {
  Operation& operation = *operation_;
  operation.httpConnectionDownloadFinishedSize += data.size();
  if (operation.AnyFailure()) {
    // The body of a failure is dropped, and one without an end given up.
    if (operation.httpConnectionDownloadFinishedSize > kMaxResponseBytes) RefuseLongResponse();
    return;
  }
  const TransportCode code = operation.httpConnectionDownloadOutputStream.Write(data);
  if (code != TransportCode::Success) {
    operation.httpDownloadDidFailWithError = true;
    operation.httpConnectionResult = code;
  }
  ReportDownload();
  if (detectAbort()) operation.pNSURLConnection->Cancel();  // no more of it
}

void MacHTTPControl::DidFinishLoading() {
  operation_->httpResponseDataReceiveFinished = true;
}

void MacHTTPControl::DidFailWithError(std::string_view domain, int code) {
  operation_->httpConnectionDidFailWithError = true;
  operation_->httpConnectionResult =
      TransportCodeOfURLError(domain, code, operation_->httpConnectionResult);
}

void MacHTTPControl::ReportDownload() {
  if (pHTTPConnectionMac_ == nullptr) return;
  pHTTPConnectionMac_->ExecuteCallback_DownloadProgress(
      "", Saturated(operation_->httpConnectionDownloadFinishedSize),
      Saturated(operation_->httpConnectionDownloadTotalSize));
}

void MacHTTPControl::ReportUploadUnderWay() {
  Operation& operation = *operation_;
  const auto now = std::chrono::steady_clock::now();
  if (now - operation.lastReport < kReportInterval) return;
  const uint64_t sent =
      operation.uploadBody->FileBytesWithin(operation.pNSURLConnection->BodyBytesSent());
  if (sent <= operation.uploadReported) return;
  operation.lastReport = now;
  operation.uploadReported = sent;
  ReportUpload(operation.uploadBody->LastPath(), sent, 0);
  if (detectAbort()) operation.pNSURLConnection->Cancel();  // no more of it
}

void MacHTTPControl::ReportUpload(const std::string& path, uint64_t done, uint64_t total) {
  if (pHTTPConnectionMac_ == nullptr) return;
  pHTTPConnectionMac_->ExecuteCallback_UploadProgress(path, Saturated(done), Saturated(total));
}

}  // namespace kelo
