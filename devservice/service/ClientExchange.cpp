// The order in which scripts, faults and the protocol come to a request.
#include "devservice/service/ClientExchange.h"

#include <algorithm>

#include "devservice/control/RequestLog.h"
#include "devservice/service/Arrivals.h"

namespace kelo::devservice {
namespace {

constexpr std::uint64_t kMaxDocument = 64 << 20;
constexpr std::uint64_t kMaxForeignDocument = 1 << 20;
constexpr std::string_view kUpload = "UploadItems";

bool IsUpload(const ClientRequest& request) {
  return request.verb == "POST" && request.path == Api::kUploadPath;
}

// Whether a request is to be signed.
bool IsCall(const ClientRequest& request) {
  return request.path == Api::kAuthPath || request.path == Api::kManagePath ||
         request.path == Api::kUploadPath;
}

Reply NothingThere() {
  return PlainReply(404, "There is nothing at this address\n");
}

std::string MethodOf(const ClientRequest& request) {
  if (request.path.starts_with(Api::kDownloadPath)) return "Download";
  if (request.verb != "GET") return MethodOfDocument(request.body);
  static constexpr std::string_view mark = "method=";
  const size_t start = request.query.find(mark);
  if (request.path != Api::kAuthPath || start == std::string::npos) return {};
  const std::string rest = request.query.substr(start + mark.size());
  return rest.substr(0, rest.find('&'));
}

}  // namespace

std::optional<Reply> ClientExchange::OnHead() {
  if (IsCall(request)) record.signature = CallReport().signature;
  const std::uint64_t mostOfAny = parts_.options.maxRequestBytes;
  if (request.announcedSize > mostOfAny) return TooLarge(mostOfAny);
  // Of an upload the method is known before its body is, which can be taken slowly.
  if (IsUpload(request)) Fire(std::string(kUpload));
  if (fault_ && fault_->kind == FaultKind::kSlow)
    bytesPerSecond = static_cast<std::uint64_t>(fault_->value);
  const std::uint64_t most = MaxBody();
  if (request.announcedSize > most) return TooLarge(most);
  if (IsUpload(request)) upload_.emplace(parts_.api, request, MaxDocument());
  return std::nullopt;
}

// Files of an upload go to their places as they come; documents are held in memory, so they are
// bounded, and closely until they prove to be part of a session.
std::uint64_t ClientExchange::MaxBody() {
  const std::uint64_t most = parts_.options.maxRequestBytes;
  return IsUpload(request) ? most : std::min(MaxDocument(), most);
}

std::uint64_t ClientExchange::MaxDocument() const {
  // A script may answer for sessions of its own.
  const bool isKnown = parts_.arrivals.HasScript() || parts_.api.KnowsSession(request.query);
  return isKnown ? kMaxDocument : kMaxForeignDocument;
}

void ClientExchange::Take(std::string_view bytes) {
  if (upload_) upload_->Take(bytes);
  if (!upload_ || request.bodySize <= Arrivals::kMaxBody)
    request.body.append(bytes);
  else
    request.body = {};
}

void ClientExchange::Fire(const std::string& method) {
  fault_ = parts_.faults.Fire(method);
  if (!fault_) return;
  record.fault = FaultText(*fault_);
  if (fault_->kind != FaultKind::kExpire) return;
  const std::lock_guard lock(parts_.api.Mutex());
  parts_.store.ExpireSessions();
}

void ClientExchange::OnArrived() {
  request.method = upload_ ? kUpload : MethodOf(request);
  record.document =
      (upload_ ? upload_->Document() : request.body).substr(0, RequestRecord::kMaxText);
  parts_.arrivals.Add(request);
}

Reply ClientExchange::OnRequest() {
  if (!upload_) Fire(request.method);
  Reply reply = AnswerBySomebody();
  if (fault_) {
    Spoil(reply, *fault_);
    if (const auto error = ErrorOf(*fault_)) {
      record.errorCode = error->Number();
      record.errorText = error->what();
    }
  }
  record.answer = reply.body.substr(0, RequestRecord::kMaxText);
  return reply;
}

Reply ClientExchange::AnswerBySomebody() {
  if (auto scripted = parts_.arrivals.AskScript(request)) return std::move(*scripted);
  if (auto instead = fault_ ? ReplyInstead(*fault_) : std::nullopt) return std::move(*instead);
  return AnswerByItself();
}

void ClientExchange::OnDone() {
  upload_.reset();  // with what it has left, before anybody hears that it is over
  MaskSecrets(record);
  parts_.log.Add(record);  // and has its number
  if (parts_.options.onRequest) parts_.options.onRequest(record);
}

Reply ClientExchange::AnswerByItself() {
  if (request.verb == "GET") return AnswerGet();
  if (upload_) return Document(upload_->Finish());
  const bool isPut = request.verb == "PUT";
  if (isPut && request.path == Api::kManagePath)
    return Document(parts_.api.Call(Endpoint::kManage, request.query, request.body));
  if (isPut && request.path == Api::kUploadPath)
    return Document(parts_.api.Call(Endpoint::kUpload, request.query, request.body));
  return NothingThere();
}

Reply ClientExchange::AnswerGet() {
  if (request.path == Api::kAuthPath) return Document(parts_.api.Authenticate(request.query));
  const std::filesystem::path file = parts_.api.FileOf(request.path);
  if (file.empty()) return NothingThere();
  return {.headers = {{"Content-Type", "application/octet-stream"}}, .file = file};
}

Reply ClientExchange::Document(CallReport report) {
  record.errorCode = report.errorCode;
  record.errorText = std::move(report.errorText);
  record.signature = std::move(report.signature);
  return {.body = std::move(report.answer), .mayCompress = true};
}

}  // namespace kelo::devservice
