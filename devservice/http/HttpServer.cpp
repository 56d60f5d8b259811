// cpp-httplib driven connection by connection.
#include "devservice/http/HttpServer.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <limits>
#include <list>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "devservice/http/IdleConnections.h"

namespace kelo::devservice {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBacklog = 4096;

// What this thread serves: httplib's handlers don't say which connection it is.
struct Current {
  Connection* connection = nullptr;
  Exchange exchange;
};
thread_local Current current;

// A thread for every connection that is being served, so that silent answers never keep others
// waiting.
class Workers {
 public:
  ~Workers() {
    for (std::thread& thread : threads_) thread.join();
  }

  void Start(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    JoinFinished();
    threads_.emplace_back();
    const auto self = std::prev(threads_.end());
    *self = std::thread([this, self, work = std::move(work)] {
      work();
      const std::lock_guard finishedLock(mutex_);
      finished_.push_back(self);
    });
  }

  // No Start may follow.
  void Join() {
    std::unique_lock lock(mutex_);
    std::list<std::thread> threads = std::move(threads_);
    threads_.clear();
    lock.unlock();
    for (std::thread& thread : threads) thread.join();
  }

 private:
  void JoinFinished() {
    for (const auto thread : finished_) {
      thread->join();
      threads_.erase(thread);
    }
    finished_.clear();
  }

  std::mutex mutex_;
  std::list<std::thread> threads_;
  std::vector<std::list<std::thread>::iterator> finished_;
};

// httplib's task is only to hand a new connection over.
class AtOnce final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override { task(); }
  void shutdown() override {}
};

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

Exchange ExchangeOf(const httplib::Request& request) {
  Exchange exchange;
  exchange.request = HeadOf(request);
  exchange.record.time = std::chrono::system_clock::now();
  exchange.record.verb = exchange.request.method;
  exchange.record.path = exchange.request.path;
  exchange.record.query = MaskTokens(exchange.request.query);
  return exchange;
}

}  // namespace

Reply TooLarge() {
  Reply reply;
  reply.status = 413;
  reply.body = "Request too large\n";
  reply.headers.emplace_back("Content-Type", "text/plain; charset=UTF-8");
  return reply;
}

class HttpServer::Impl final : private httplib::Server {
 public:
  Impl(int port, Connection::Limits limits, RequestHandler& handler)
      : handler_(handler), limits_(limits) {
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
    Get(
        every, [this](const httplib::Request&, httplib::Response&) { Serve(nullptr); });
    const auto withBody = [this](const httplib::Request&, httplib::Response&,
                                 const httplib::ContentReader& reader) { Serve(&reader); };
    Put(every, withBody);
    Post(every, withBody);
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
      const auto prepare = [](httplib::Request& request) {
        current.exchange = ExchangeOf(request);
        // Left in, this would make httplib take a multipart body apart, which is done elsewhere.
        request.headers.erase("Content-Type");
      };
      if (!process_request(connection, false, closed, prepare)) return false;
      if (closed || connection.MustClose()) return false;
    }
    return true;
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

  void Serve(const httplib::ContentReader* reader) {
    Connection& connection = *current.connection;
    Exchange& exchange = current.exchange;
    const auto start = Clock::now();
    connection.CountFromHere();
    try {
      ServeRequest(connection, exchange, reader);
    } catch (const std::exception& error) {
      Reply failure;
      failure.status = 500;
      failure.body = std::string(error.what()) + "\n";
      failure.headers.emplace_back("Content-Type", "text/plain");
      connection.SendAndLeave({failure, {}, false});
    }
    RequestRecord& record = exchange.record;
    record.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    record.status = connection.SentStatus();
    record.bytesOut = connection.SentBytes();
    handler_.OnDone(record);
  }

  void ServeRequest(Connection& connection, Exchange& exchange,
                    const httplib::ContentReader* reader) {
    LoggedRequest& request = exchange.request;
    if (const auto early = handler_.OnHead(exchange)) {
      request.bodySize = 0;
      if (early->readFirst > 0) ReadBody(exchange, reader, nullptr, early->readFirst - 1);
      exchange.record.complete = request.complete = false;
      handler_.OnRequest(exchange, nullptr);
      exchange.record.answer = MaskTokens(early->body);
      connection.SendAndLeave({*early, {}, false});
      return;
    }
    const std::unique_ptr<BodySink> sink = handler_.SinkFor(request);
    const std::uint64_t most = handler_.MaxBody(request);
    const bool fits = ReadBody(exchange, reader, sink.get(), most);
    const Answer answer = handler_.OnRequest(exchange, sink.get());
    if (!request.complete) {
      connection.CloseAfterwards();
      if (!fits) connection.SendAndLeave({TooLarge(), {}, false});
      return;
    }
    const bool takesGzip = request.Header("Accept-Encoding").find("gzip") != std::string::npos;
    connection.Send(answer, request.method == "HEAD", takesGzip);
  }

  // Reads about `limit` bytes at most, and gives false where there are more; sets body, bodySize
  // and complete.
  bool ReadBody(Exchange& exchange, const httplib::ContentReader* reader, BodySink* sink,
                std::uint64_t limit) {
    LoggedRequest& request = exchange.request;
    request.bodySize = 0;
    // A request that announces no body has none.
    const bool announced =
        !request.Header("Content-Length").empty() || !request.Header("Transfer-Encoding").empty();
    if (!reader || !announced) return true;
    current.connection->AllowBody();
    bool keeping = true;
    const auto receive = [&](const char* data, std::size_t size) {
      request.bodySize += size;
      if (sink) sink->Take({data, size});
      keeping = keeping && (!sink || handler_.KeepsLargeBodies() || request.bodySize <= kLargeBody);
      if (keeping) request.body.append(data, size);
      return request.bodySize <= limit && KeepPace(exchange, size);
    };
    exchange.record.complete = request.complete = (*reader)(receive);
    exchange.record.bytesIn = request.bodySize;
    if (!keeping) request.body.clear();
    return request.bodySize <= limit;
  }

  static bool KeepPace(const Exchange& exchange, std::size_t size) {
    if (exchange.bytesPerSecond == 0) return true;
    return current.connection->Pause(
        std::chrono::milliseconds(1000 * size / exchange.bytesPerSecond));
  }

  RequestHandler& handler_;
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

HttpServer::HttpServer(int port, Connection::Limits limits, RequestHandler& handler)
    : impl_(std::make_unique<Impl>(port, limits, handler)) {}

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
