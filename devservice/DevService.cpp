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
  ControlExchange(const Control& control, ClientRequest head)
      : Exchange(std::move(head)), control_(control) {}
  std::optional<Reply> OnHead() override { return control_.Refuse(request); }
  std::uint64_t MaxBody() override { return Control::kMaxBody; }
  Reply OnRequest() override { return control_.Serve(request); }

 private:
  const Control& control_;
};

}  // namespace

struct Service::Impl {
  explicit Impl(Options asked)
      : options(std::move(asked)),
        store(options.dataDirectory, FilesDirectory()),
        owner(store.AddAccount(kOwnerAddress)),
        arrivals(options.logLimit),
        server(MakeHttpServer(options.port.value_or(store.LastPort()),
                              {options.headLimit, options.bodyLimit},
                              [this](ClientRequest head) { return Begin(std::move(head)); })),
        url("http://127.0.0.1:" + std::to_string(server->Port())),
        api(store, {url, options.quotaBytes, options.tokenLifetime}),
        control({api, store, records, faults, owner.account, options.quotaBytes, server->Port()}) {
    store.KeepPort(server->Port());
    server->Start();
  }
  ~Impl() { server.reset(); }  // its threads use what is declared behind it

  std::string PageUrl() const { return url + "/?token=" + control.Token(); }

  template <typename Work>
  auto WithStore(Work work) {
    const std::lock_guard lock(api.Mutex());
    return work(store);
  }

  bool CopiesFiles() const { return !options.dataDirectory.empty(); }
  const fs::path FilesDirectory() {
    if (!options.dataDirectory.empty()) return options.dataDirectory / "files";
    return temporary.emplace().Path();
  }

  std::unique_ptr<Exchange> Begin(ClientRequest head) {
    if (Control::Owns(head.path))
      return std::make_unique<ControlExchange>(control, std::move(head));
    return std::make_unique<ClientExchange>(parts, std::move(head));
  }

  const Options options;
  std::optional<TemporaryFolder> temporary;
  Store store;
  const Credentials owner;
  Arrivals arrivals;
  std::unique_ptr<HttpServer> server;
  const std::string url;
  Api api;
  Faults faults;
  RequestLog records;
  const Control control;
  const ClientExchange::Parts parts{options, api, store, faults, records, arrivals};
};

Service::Service() : Service(Options{}) {}
Service::Service(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Service::~Service() = default;

std::string Service::Url() const {
  return impl_->url;
}
std::string Service::PageUrl() const {
  return impl_->PageUrl();
}
std::string Service::ApiKey() const {
  return impl_->WithStore([](Store& store) { return store.ApiKey(); });
}
std::string Service::AuthToken() const {
  return impl_->owner.authToken;
}
std::string Service::Secret() const {
  return impl_->owner.secret;
}

Service::Account Service::AddAccount(const std::string& address) {
  const Credentials added =
      impl_->WithStore([&](Store& store) { return store.AddAccount(address); });
  return {added.address, added.authToken, added.secret};
}

void Service::Import(const fs::path& directory, const ImportWatcher& watcher) {
  impl_->WithStore([&](Store& store) {
    ImportFolder(store, impl_->owner.account, directory, impl_->CopiesFiles(), watcher);
  });
}

void Service::ImportFriend(const fs::path& directory, const ImportWatcher& watcher) {
  impl_->WithStore([&](Store& store) {
    const AccountId friendly = store.AddAccount(kFriendAddress).account;
    for (const std::string& album :
         ImportAlbums(store, friendly, directory, impl_->CopiesFiles(), watcher))
      store.ShareWith(friendly, album, impl_->owner.account);
  });
}

std::uint64_t Service::AddFault(std::string_view text) {
  return impl_->faults.Add(ReadFault(text));
}

void Service::ClearFaults() {
  impl_->faults.Clear();
}

std::uint64_t Service::FaultFired(std::uint64_t id) const {
  for (const Fault& fault : impl_->faults.List())
    if (fault.id == id) return fault.fired;
  return 0;
}

void Service::SetScript(Script script) {
  impl_->arrivals.SetScript(std::move(script));
}
std::vector<ClientRequest> Service::Arrived() const {
  return impl_->arrivals.All();
}
void Service::ClearArrived() {
  impl_->arrivals.Clear();
}
size_t Service::RequestCount() const {
  return impl_->arrivals.Count();
}

bool Service::WaitForRequest(const std::function<bool(const ClientRequest&)>& predicate,
                             std::chrono::milliseconds timeout) const {
  return impl_->arrivals.WaitFor(predicate, timeout);
}

void Service::ExpireTokens() {
  impl_->WithStore([](Store& store) { store.ExpireSessions(); });
}

std::vector<Mail> Service::Outbox() const {
  return impl_->WithStore([](Store& store) { return store.Outbox(); });
}

}  // namespace kelo::devservice
