// Performs the requests: builds each, waits for its events in slices, and reports its progress.
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

std::string_view UntilZero(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

URLRequest ToService(std::string method, const HTTPRequest& request) {
  URLRequest sent;
  sent.method = std::move(method);
  sent.url.append(request.url).append("?").append(UntilZero(request.query));
  sent.timeout = request.timeout;
  return sent;
}

uint32_t Saturated(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, std::numeric_limits<uint32_t>::max()));
}

}  // namespace

MacHTTPControl::Operation::Operation(MacHTTPControl& running, bool download)
    : control(running), scope(*running.abort_), httpConnectionDownloadActive(download) {
  control.lastTransfer_ = {};
  control.operation_ = this;
}

MacHTTPControl::Operation::~Operation() {
  control.operation_ = nullptr;
}

bool MacHTTPControl::Operation::AnyFailure() const {
  return httpConnectionDidFailWithError || httpConnectionDidReceiveResponseError ||
         httpDownloadDidFailWithError;
}

MacHTTPControl::MacHTTPControl(std::unique_ptr<URLLoader> loader, std::string spoolPath,
                               std::shared_ptr<AbortSignal> abort)
    : loader_(std::move(loader)), spoolPath_(std::move(spoolPath)), abort_(std::move(abort)) {}

TransportCode MacHTTPControl::httpFuncGET(const HTTPRequest& request, std::string& response) {
  return PerformForText(ToService("GET", request), response);
}

TransportCode MacHTTPControl::httpFuncPUT(const HTTPRequest& request, std::string& response) {
  URLRequest sent = ToService("PUT", request);
  sent.body = UntilZero(request.body);
  return PerformForText(sent, response);
}

TransportCode MacHTTPControl::httpFuncUpload(const HTTPRequest& request, std::string& response) {
  response.clear();
  Operation operation(*this);
  UploadBody body(spoolPath_, [this] { return detectAbort(); });
  if (detectAbort()) return TransportCode::Aborted;
  if (const TransportCode code = body.Build(request.parts); code != TransportCode::Success)
    return code;
  if (detectAbort()) return TransportCode::Aborted;
  ReportUpload(body.LastPath(), 0, 0);

  URLRequest sent = ToService("POST", request);
  for (const auto& [name, value] : request.headers) sent.headers.push_back({name, value});
  sent.body = body.Body();
  sent.freshConnection = true;  // over a reused one that dies it could be stored twice
  operation.uploadBody = &body;
  RunWaitLoop(sent);
  if (operation.httpResponseDataReceiveFinished) {
    ReportUpload(body.LastPath(), body.FileBytes(), body.FileCount());
    TakeResponse(response);
  }
  return operation.httpConnectionResult;
}

TransportCode MacHTTPControl::httpFuncDownload(const HTTPRequest& request, uint32_t& fileSize) {
  fileSize = 0;
  Operation operation(*this, true);
  if (detectAbort()) return TransportCode::Aborted;
  if (!IsWellFormedURL(request.url)) return TransportCode::DownloadNotFound;
  ArrivingFile& file = operation.httpConnectionDownloadOutputStream;
  const TransportCode created = file.Create(std::string(request.destPath));
  if (created != TransportCode::Success) return created;
  URLRequest sent;
  sent.url = request.url;
  sent.timeout = request.timeout;
  // Not compressed, so that the length announced is that of the file.
  sent.headers.push_back({"Accept-Encoding", ""});
  RunWaitLoop(sent);
  TransportCode& result = operation.httpConnectionResult;
  if (result == TransportCode::Success) result = file.Keep();
  if (result == TransportCode::Success)
    fileSize = Saturated(operation.httpConnectionDownloadFinishedSize);
  return result;
}

TransportCode MacHTTPControl::httpFuncAbort() {
  abort_->Raise();
  return TransportCode::Success;
}

TransportCode MacHTTPControl::PerformForText(const URLRequest& request, std::string& response) {
  response.clear();
  Operation operation(*this);
  RunWaitLoop(request);
  if (operation.httpResponseDataReceiveFinished) TakeResponse(response);
  return operation.httpConnectionResult;
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
      if (control.operation_->responseTooLong) control.lastTransfer_.error = URLError::TooLong;
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
