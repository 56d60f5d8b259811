// cpp-httplib driven connection by connection.
#include "devservice/http/HttpServer.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "devservice/http/IdleConnections.h"
#include "devservice/http/Workers.h"

namespace kelo::devservice {
namespace {

constexpr int kBacklog = 4096;

// What this thread serves: httplib's handlers don't say which connection it is.
struct Current {
  Connection* connection = nullptr;
  std::unique_ptr<Exchange> exchange;
};
thread_local Current current;

// httplib's task is only to hand a new connection over.
class AtOnce final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override { task(); }
  void shutdown() override {}
};

void ServeCurrent(const httplib::ContentReader* reader) {
  const std::unique_ptr<Exchange> exchange = std::move(current.exchange);
  Serve(*exchange, *current.connection, reader);
}

LoggedRequest HeadOf(const httplib::Request& request) {
  LoggedRequest head;
  head.method = request.method;
  head.target = request.target;
  const std::size_t mark = request.target.find('?');
  head.path = request.target.substr(0, mark);
  if (mark != std::string::npos) head.query = request.target.substr(mark + 1);
  for (const auto& [name, value] : request.headers) {
    // These four are httplib's own additions.
    if (name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
        name == "LOCAL_PORT")
      continue;
    head.headers.emplace_back(name, value);
  }
  head.bodySize = request.get_header_value<std::uint64_t>("Content-Length");
  return head;
}

}  // namespace

class HttpServer::Impl final : private httplib::Server {
 public:
  Impl(int port, Connection::Limits limits, ExchangeMaker maker)
      : maker_(std::move(maker)), limits_(limits) {
    new_task_queue = [] { return new AtOnce; };  // httplib takes ownership
    // Not httplib's own, which let two services share a port.
    set_socket_options([](int socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    set_tcp_nodelay(true);
    set_read_timeout(0);  // the connections watch themselves
    set_write_timeout(0);
    set_payload_max_length(std::numeric_limits<std::size_t>::max());
    const char* every = R"([\s\S]*)";
    const auto bare = [](const httplib::Request&, httplib::Response&) { ServeCurrent(nullptr); };
    Get(every, bare);
    Options(every, bare);
    const auto withBody = [](const httplib::Request&, httplib::Response&,
                             const httplib::ContentReader& reader) { ServeCurrent(&reader); };
    Put(every, withBody);
    Post(every, withBody);
    Patch(every, withBody);
    Delete(every, withBody);
    port_ = port == 0 ? bind_to_any_port("127.0.0.1") : bind_to_port("127.0.0.1", port) ? port : -1;
    if (port_ <= 0) throw PortError("port " + std::to_string(port) + " is in use, or forbidden");
    ::listen(svr_sock_.load(), kBacklog);  // again, since httplib lets 5 wait
  }

  ~Impl() override { StopAll(); }

  int Port() const { return port_; }

  void Start() {
    listener_ = std::thread([this] { listen_after_bind(); });
  }

  void StopAll() {
    {
      const std::lock_guard lock(mutex_);
      if (stopping_) return;
      stopping_ = true;
      for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
    }
    // Not stop(): closing the socket under the listening thread would race with its accept.
    shutdown(svr_sock_, SHUT_RDWR);
    if (listener_.joinable()) listener_.join();
    idle_.Stop();
    workers_.Join();
  }

 private:
  bool process_and_close_socket(int socket) override {
    fcntl(socket, F_SETFL, O_NONBLOCK);
    idle_.Add(socket);
    return true;
  }

  // Until the peer leaves, or has nothing to ask for a while.
  void ServeSocket(int socket) {
    bool parks = false;
    if (Enter(socket)) {
      Connection connection(socket, limits_);
      current.connection = &connection;
      parks = ServeConnection(connection);
      current = {};
      parks = Leave(socket) && parks;
    }
    if (parks)
      idle_.Add(socket);
    else
      close(socket);
  }

  // Whether the connection goes on.
  bool ServeConnection(Connection& connection) {
    bool closed = false;
    while (connection.AwaitRequest()) {
      const auto prepare = [this](httplib::Request& request) {
        current.exchange = maker_(HeadOf(request));
        // Left in, this would make httplib take a multipart body apart, which is done elsewhere.
        request.headers.erase("Content-Type");
      };
      const bool goesOn = process_request(connection, false, closed, prepare);
      if (connection.IsGivenUp()) RefuseCurrent(connection);
      if (!goesOn || closed || connection.MustClose()) return false;
    }
    return true;
  }

  // What arrives is known to the service even where httplib cannot read it.
  void RefuseCurrent(Connection& connection) {
    if (!current.exchange) {
      LoggedRequest nothing;
      nothing.method = "?";
      nothing.target = nothing.path = connection.FirstLine();
      current.exchange = maker_(std::move(nothing));
    }
    const std::unique_ptr<Exchange> exchange = std::move(current.exchange);
    Refuse(*exchange, connection);
  }

  bool Enter(int socket) {
    const std::lock_guard lock(mutex_);
    if (!stopping_) sockets_.insert(socket);
    return !stopping_;
  }

  // Whether the server goes on.
  bool Leave(int socket) {
    const std::lock_guard lock(mutex_);
    sockets_.erase(socket);
    return !stopping_;
  }

  const ExchangeMaker maker_;
  const Connection::Limits limits_;
  int port_ = 0;
  std::thread listener_;
  std::mutex mutex_;
  std::set<int> sockets_;
  bool stopping_ = false;
  Workers workers_;
  IdleConnections idle_{
      [this](int socket) { workers_.Start([this, socket] { ServeSocket(socket); }); }};
};

HttpServer::HttpServer(int port, Connection::Limits limits, ExchangeMaker maker)
    : impl_(std::make_unique<Impl>(port, limits, std::move(maker))) {}

HttpServer::~HttpServer() = default;

int HttpServer::Port() const {
  return impl_->Port();
}

void HttpServer::Start() {
  impl_->Start();
}

void HttpServer::Stop() {
  impl_->StopAll();
}

}  // namespace kelo::devservice
