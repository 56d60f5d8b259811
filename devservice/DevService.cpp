// Puts the service together: the server, the protocol, the store, scripts, faults and logs.
#include "devservice/DevService.h"

#include "devservice/control/Control.h"
#include "devservice/control/RequestLog.h"
#include "devservice/faults/Faults.h"
#include "devservice/files/TemporaryFolder.h"
#include "devservice/http/HttpServer.h"
#include "devservice/methods/Api.h"
#include "devservice/service/Arrivals.h"
#include "devservice/service/ClientExchange.h"
#include "devservice/store/Import.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kOwnerAddress = "me@home.example";
constexpr std::string_view kFriendAddress = "friend@home.example";

// A request for the page or its calls; the log knows nothing of it.
class ControlExchange final : public Exchange {
 public:
  ControlExchange(const Control& control, LoggedRequest head)
      : Exchange(std::move(head)), control_(control) {}
  std::optional<Reply> OnHead() override { return control_.Refuse(request); }
  std::uint64_t MaxBody() override { return Control::kMaxBody; }
  Answer OnRequest() override { return request.complete ? control_.Serve(request) : Answer{}; }

 private:
  const Control& control_;
};

}  // namespace

class Service::Impl {
 public:
  explicit Impl(Options options)
      : options_(std::move(options)),
        store_(options_.dataDirectory, FilesDirectory()),
        owner_(store_.AddAccount(kOwnerAddress)),
        arrivals_(options_.logLimit),
        server_(MakeHttpServer(options_.port.value_or(store_.LastPort()),
                               {options_.headLimit, options_.bodyLimit},
                               [this](LoggedRequest head) { return Begin(std::move(head)); })),
        url_("http://127.0.0.1:" + std::to_string(server_->Port())),
        api_(store_, {url_, options_.quotaBytes, options_.tokenLifetime}),
        control_({api_, store_, records_, faults_, owner_.account, options_.quotaBytes,
                  server_->Port()}) {
    store_.KeepPort(server_->Port());
    server_->Start();
  }
  ~Impl() { server_.reset(); }  // its threads use what is declared behind it

  const std::string& Url() const { return url_; }
  std::string PageUrl() const { return url_ + "/?token=" + control_.Token(); }
  const Credentials& Owner() const { return owner_; }

  template <typename Work>
  auto WithStore(Work work) {
    const std::lock_guard lock(api_.Mutex());
    return work(store_);
  }

  Faults& FaultList() { return faults_; }
  Arrivals& Arrived() { return arrivals_; }
  bool CopiesFiles() const { return !options_.dataDirectory.empty(); }

 private:
  const fs::path FilesDirectory() {
    if (!options_.dataDirectory.empty()) return options_.dataDirectory / "files";
    return temporary_.emplace().Path();
  }

  std::unique_ptr<Exchange> Begin(LoggedRequest head) {
    if (Control::Owns(head.path))
      return std::make_unique<ControlExchange>(control_, std::move(head));
    return std::make_unique<ClientExchange>(parts_, std::move(head));
  }

  const Options options_;
  std::optional<TemporaryFolder> temporary_;
  Store store_;
  const Credentials owner_;
  Arrivals arrivals_;
  std::unique_ptr<HttpServer> server_;
  const std::string url_;
  Api api_;
  Faults faults_;
  RequestLog records_;
  const Control control_;
  const ClientExchange::Parts parts_{options_, api_, store_, faults_, records_, arrivals_};
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
  impl_->Arrived().SetScript(std::move(script));
}
std::vector<LoggedRequest> Service::Log() const {
  return impl_->Arrived().All();
}
void Service::ClearLog() {
  impl_->Arrived().Clear();
}
size_t Service::RequestCount() const {
  return impl_->Arrived().Count();
}

bool Service::WaitForRequest(const std::function<bool(const LoggedRequest&)>& predicate,
                             std::chrono::milliseconds timeout) const {
  return impl_->Arrived().WaitFor(predicate, timeout);
}

void Service::ExpireTokens() {
  impl_->WithStore([](Store& store) { store.ExpireSessions(); });
}

std::vector<Mail> Service::Outbox() const {
  return impl_->WithStore([](Store& store) { return store.Outbox(); });
}

}  // namespace kelo::devservice
