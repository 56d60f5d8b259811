// The service put together: HTTP, protocol, store, scripts and log.
#include "devservice/DevService.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "devservice/control/Control.h"
#include "devservice/control/RequestLog.h"
#include "devservice/faults/Faults.h"
#include "devservice/files/TemporaryFolder.h"
#include "devservice/http/HttpServer.h"
#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"
#include "devservice/methods/UploadReceiver.h"
#include "devservice/store/Import.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxDocument = 64 << 20;
constexpr std::uint64_t kMaxForeignDocument = 1 << 20;
constexpr std::string_view kOutboxPath = "/outbox";
constexpr std::string_view kOwnerAddress = "me@home.example";
constexpr std::string_view kFriendAddress = "friend@home.example";

Reply PlainReply(int status, std::string body) {
  Reply reply;
  reply.status = status;
  reply.body = std::move(body);
  reply.headers.emplace_back("Content-Type", "text/plain; charset=UTF-8");
  return reply;
}

bool IsUpload(const LoggedRequest& request) {
  return request.method == "POST" && request.path == Api::kUploadPath;
}

std::string MethodOf(const LoggedRequest& request) {
  if (request.method != "GET") return MethodOfDocument(request.body);
  static constexpr std::string_view mark = "method=";
  const std::size_t start = request.query.find(mark);
  if (request.path != Api::kAuthPath || start == std::string::npos) return {};
  const std::string rest = request.query.substr(start + mark.size());
  return rest.substr(0, rest.find('&'));
}

// Paths of files are kept in the database, and the next start may be in another folder.
Service::Options WithAbsolutePath(Service::Options options) {
  if (!options.dataDirectory.empty())
    options.dataDirectory = fs::absolute(options.dataDirectory).lexically_normal();
  return options;
}

}  // namespace

class Service::Impl final : private RequestHandler {
 public:
  explicit Impl(Options options)
      : options_(WithAbsolutePath(std::move(options))),
        store_(options_.dataDirectory, FilesDirectory()),
        owner_(store_.AddAccount(kOwnerAddress)),
        server_(options_.port.value_or(store_.LastPort()), {options_.headLimit, options_.bodyLimit},
                *this),
        url_("http://127.0.0.1:" + std::to_string(server_.Port())),
        api_(store_, {url_, options_.quotaBytes, options_.tokenLifetime}),
        control_({api_, store_, records_, faults_, owner_.account, options_.quotaBytes,
                  server_.Port()}) {
    store_.KeepPort(server_.Port());
    server_.Start();
  }
  ~Impl() override { server_.Stop(); }

  const std::string& Url() const { return url_; }
  std::string PageUrl() const { return url_ + "/?token=" + control_.Token(); }
  const Credentials& Owner() const { return owner_; }

  template <typename Work>
  auto WithStore(Work work) {
    const std::lock_guard lock(api_.Mutex());
    return work(store_);
  }

  Faults& FaultList() { return faults_; }
  bool CopiesFiles() const { return !options_.dataDirectory.empty(); }

  void SetScript(Script script, bool ofHeads) {
    const std::lock_guard lock(mutex_);
    (ofHeads ? headScript_ : script_) = std::move(script);
  }

  // A script may answer for sessions of its own.
  bool HasScript() {
    const std::lock_guard lock(mutex_);
    return script_ != nullptr;
  }

  std::vector<LoggedRequest> Log() const {
    const std::lock_guard lock(mutex_);
    return {log_.begin(), log_.end()};
  }

  void ClearLog() {
    const std::lock_guard lock(mutex_);
    log_.clear();
    requestCount_ = 0;
  }

  std::size_t RequestCount() const {
    const std::lock_guard lock(mutex_);
    return requestCount_;
  }

  bool WaitForRequest(const std::function<bool(const LoggedRequest&)>& predicate,
                      std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return logged_.wait_for(lock, timeout,
                            [&] { return std::any_of(log_.begin(), log_.end(), predicate); });
  }

 private:
  const fs::path FilesDirectory() {
    if (!options_.dataDirectory.empty()) return options_.dataDirectory / "files";
    return temporary_.emplace().Path();
  }

  std::optional<Reply> OnHead(Exchange& exchange) override {
    const LoggedRequest& request = exchange.request;
    if (Control::Owns(request.path)) return control_.Refuse(request);
    if (request.bodySize > options_.maxRequestBytes) return TooLarge();
    // Of an upload the method is known before its body is, which can be taken slowly.
    if (IsUpload(request)) Fire("UploadItems", exchange);
    if (exchange.fault && exchange.fault->kind == FaultKind::Slow)
      exchange.bytesPerSecond = static_cast<std::uint64_t>(exchange.fault->value);
    if (auto scripted = Ask(headScript_, request)) return scripted;
    if (request.bodySize > MaxBody(request)) return TooLarge();
    return std::nullopt;
  }

  // Files of an upload go to their places as they come; documents are held in memory, so they are
  // bounded, and closely until they prove to be part of a session.
  std::uint64_t MaxBody(const LoggedRequest& request) override {
    return IsUpload(request) ? options_.maxRequestBytes
                             : std::min(MaxDocument(request), options_.maxRequestBytes);
  }

  std::uint64_t MaxDocument(const LoggedRequest& request) {
    const bool isKnown = HasScript() || api_.KnowsSession(request.query);
    return isKnown ? kMaxDocument : kMaxForeignDocument;
  }

  void Fire(const std::string& method, Exchange& exchange) {
    exchange.fault = faults_.Fire(method);
    if (!exchange.fault) return;
    exchange.record.fault = FaultText(*exchange.fault);
    if (exchange.fault->kind == FaultKind::Expire)
      WithStore([](Store& store) { store.ExpireSessions(); });
  }

  std::unique_ptr<BodySink> SinkFor(const LoggedRequest& request) override {
    if (!IsUpload(request)) return nullptr;
    return std::make_unique<UploadReceiver>(api_, request, MaxDocument(request));
  }

  bool KeepsLargeBodies() const override { return options_.logLargeBodies; }

  Answer OnRequest(Exchange& exchange, BodySink* sink) override {
    LoggedRequest& request = exchange.request;
    if (Control::Owns(request.path)) return request.complete ? control_.Serve(request) : Answer{};
    request.apiMethod = sink ? "UploadItems" : MethodOf(request);
    exchange.record.method =
        request.path.starts_with(Api::kDownloadPath) ? "Download" : request.apiMethod;
    const bool keepsBody = options_.logLargeBodies || request.body.size() <= HttpServer::kLargeBody;
    LoggedRequest logged = request;
    if (!keepsBody) logged.body.clear();
    AddToLog(logged);
    exchange.record.document = sink ? static_cast<UploadReceiver*>(sink)->Document() : request.body;
    exchange.record.document.resize(
        std::min(exchange.record.document.size(), RequestRecord::kMaxText));
    if (!request.complete) return {};
    if (!sink) Fire(exchange.record.method, exchange);
    Answer answer;
    if (auto scripted = Ask(script_, logged))
      answer.reply = std::move(*scripted);
    else if (auto instead = exchange.fault ? ReplyInstead(*exchange.fault) : std::nullopt)
      answer.reply = std::move(*instead);
    else
      answer = AnswerByItself(exchange, sink);
    if (exchange.fault) {
      Spoil(answer.reply, *exchange.fault);
      if (const int error = ErrorOf(*exchange.fault)) exchange.record.errorCode = error;
    }
    exchange.record.answer = MaskTokens(answer.reply.body.substr(0, RequestRecord::kMaxText));
    return answer;
  }

  void OnDone(const RequestRecord& record) override {
    if (Control::Owns(record.path)) return;
    records_.Add(record);
    if (options_.onRequest) options_.onRequest(record);
  }

  void AddToLog(const LoggedRequest& request) {
    const std::lock_guard lock(mutex_);
    log_.push_back(request);
    ++requestCount_;
    while (log_.size() > options_.logLimit) log_.pop_front();
    logged_.notify_all();
  }

  std::optional<Reply> Ask(const Script& script, const LoggedRequest& request) {
    std::unique_lock lock(mutex_);
    const Script copy = script;
    if (!copy) return std::nullopt;
    lock.unlock();
    auto reply = copy(request);
    lock.lock();  // orders what the script did before whatever the service is asked afterwards
    return reply;
  }

  Answer AnswerByItself(Exchange& exchange, BodySink* sink) {
    const LoggedRequest& request = exchange.request;
    if (request.method == "GET") return AnswerGet(exchange);
    if (sink) return Document(static_cast<UploadReceiver*>(sink)->Finish(), exchange.record);
    if (request.method == "PUT" && request.path == Api::kManagePath)
      return Document(api_.Call(Endpoint::Manage, request.query, request.body), exchange.record);
    if (request.method == "PUT" && request.path == Api::kUploadPath)
      return Document(api_.Call(Endpoint::Upload, request.query, request.body), exchange.record);
    return {PlainReply(404, "Not found\n"), {}, false};
  }

  Answer AnswerGet(Exchange& exchange) {
    const LoggedRequest& request = exchange.request;
    if (request.path == Api::kAuthPath)
      return Document(api_.Authenticate(request.query), exchange.record);
    if (request.path == kOutboxPath) return {PlainReply(200, OutboxText()), {}, true};
    const fs::path file = api_.FileOf(request.path);
    if (file.empty()) return {PlainReply(404, "Not found\n"), {}, false};
    Reply reply;
    reply.headers.emplace_back("Content-Type", "application/octet-stream");
    return {reply, file, false};
  }

  static Answer Document(CallReport report, RequestRecord& record) {
    record.errorCode = report.errorCode;
    record.errorText = std::move(report.errorText);
    record.signature = std::move(report.signature);
    Reply reply;
    reply.body = std::move(report.answer);
    return {std::move(reply), {}, true};
  }

  std::string OutboxText() {
    std::string text;
    for (const Mail& mail : WithStore([](Store& store) { return store.Outbox(); }))
      text += DescribeMail(mail) + "\n";
    return text.empty() ? "No mail.\n" : text;
  }

  const Options options_;
  std::optional<TemporaryFolder> temporary_;
  Store store_;
  const Credentials owner_;
  HttpServer server_;
  const std::string url_;
  Api api_;
  Faults faults_;
  RequestLog records_;
  const Control control_;

  mutable std::mutex mutex_;  // guards what follows
  mutable std::condition_variable logged_;
  std::deque<LoggedRequest> log_;
  std::size_t requestCount_ = 0;
  Script script_;
  Script headScript_;
};

Service::Service() : Service(Options{}) {}
Service::Service(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Service::~Service() = default;

std::string Service::Url() const {
  return impl_->Url();
}
std::string Service::PageUrl() const {
  return impl_->PageUrl();
}
std::string Service::ApiKey() const {
  return impl_->WithStore([](Store& store) { return store.ApiKey(); });
}
std::string Service::AuthToken() const {
  return impl_->Owner().authToken;
}
std::string Service::Secret() const {
  return impl_->Owner().secret;
}

Service::Account Service::AddAccount(const std::string& address) {
  const Credentials added =
      impl_->WithStore([&](Store& store) { return store.AddAccount(address); });
  return {added.address, added.authToken, added.secret};
}

void Service::Import(const fs::path& directory, const ImportWatcher& watcher) {
  impl_->WithStore([&](Store& store) {
    ImportFolder(store, impl_->Owner().account, directory, impl_->CopiesFiles(), watcher);
  });
}

void Service::ImportFriend(const fs::path& directory, const ImportWatcher& watcher) {
  impl_->WithStore([&](Store& store) {
    const AccountId friendly = store.AddAccount(kFriendAddress).account;
    for (const std::string& album :
         ImportAlbums(store, friendly, directory, impl_->CopiesFiles(), watcher))
      store.ShareWith(friendly, album, impl_->Owner().account);
  });
}

std::uint64_t Service::AddFault(std::string_view text) {
  return impl_->FaultList().Add(ReadFault(text));
}

void Service::ClearFaults() {
  impl_->FaultList().Clear();
}

std::uint64_t Service::FaultFired(std::uint64_t id) const {
  for (const Fault& fault : impl_->FaultList().List())
    if (fault.id == id) return fault.fired;
  return 0;
}

void Service::SetScript(Script script) {
  impl_->SetScript(std::move(script), false);
}
void Service::SetHeadScript(Script script) {
  impl_->SetScript(std::move(script), true);
}
std::vector<LoggedRequest> Service::Log() const {
  return impl_->Log();
}
void Service::ClearLog() {
  impl_->ClearLog();
}
std::size_t Service::RequestCount() const {
  return impl_->RequestCount();
}

bool Service::WaitForRequest(const std::function<bool(const LoggedRequest&)>& predicate,
                             std::chrono::milliseconds timeout) const {
  return impl_->WaitForRequest(predicate, timeout);
}

void Service::ExpireTokens() {
  impl_->WithStore([](Store& store) { store.ExpireSessions(); });
}

std::vector<Mail> Service::Outbox() const {
  return impl_->WithStore([](Store& store) { return store.Outbox(); });
}

std::string DescribeMail(const Mail& mail) {
  std::string text = "To: ";
  for (const std::string& recipient : mail.recipients)
    text += (&recipient == &mail.recipients.front() ? "" : ", ") + recipient;
  text += "\nAlbum: " + mail.albumId + "\nGPS removed: " + (mail.gpsRemoved ? "yes" : "no");
  return text + "\nSubject: " + mail.subject + "\n\n" + mail.body + "\n";
}

}  // namespace kelo::devservice
