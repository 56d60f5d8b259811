// Asio tells when connections and requests come; threads are added as requests need them.
#include "devservice/http/HttpServer.h"

#include <signal.h>
#include <sys/socket.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <condition_variable>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>

#include "devservice/files/Descriptor.h"

namespace kelo::devservice {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr int kBacklog = 4096;
constexpr std::chrono::seconds kIdleLimit{300};
constexpr std::chrono::seconds kCloseIdleEvery{10};
constexpr std::chrono::milliseconds kPause{1};
constexpr size_t kSpareThreads = 3;
// A stack takes 8 MiB of the addresses; where they have 32 bits, something must be left of them.
constexpr size_t kMaxThreads = sizeof(void*) < 8 ? 200 : 20'000;

struct Peer {
  Descriptor socket;
  tcp::socket watched;  // the same, while no request comes
  Clock::time_point idleSince;
};

// All threads wait for what happens. Whoever sees the begin of a request serves it, and sees to it
// that another one waits meanwhile.
class Server final : public HttpServer {
 public:
  Server(int port, Limits limits, ExchangeMaker maker) : limits_(limits), maker_(std::move(maker)) {
    signal(SIGPIPE, SIG_IGN);  // a peer that leaves
    acceptor_.assign(tcp::v4(), socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.non_blocking(true);
    error_code error;
    const auto loopback = boost::asio::ip::address_v4::loopback();
    acceptor_.bind({loopback, static_cast<std::uint16_t>(port)}, error);
    if (error) {
      throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " +
                               error.message() + "; choose another --port");
    }
    acceptor_.listen(kBacklog);
  }

  ~Server() override {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    shutdown(acceptor_.native_handle(), SHUT_RDWR);
    for (const Peer& peer : peers_) shutdown(peer.socket.Get(), SHUT_RDWR);
    timer_.cancel();
    ended_.wait(lock, [this] { return threads_ == 0; });
  }

  int Port() const override { return acceptor_.local_endpoint().port(); }

  void Start() override {
    const std::lock_guard lock(mutex_);
    AwaitPeer();
    CloseIdle();
    AddThread();
  }

 private:
  using Peers = std::list<Peer>;

  // What follows is called with the mutex held, but for those that lock it.
  void AddThread() {
    if (threads_ >= kMaxThreads) return;
    try {
      std::thread([this] { Work(); }).detach();
    } catch (const std::system_error&) {
      if (threads_ == 0) throw;
      return;  // one of the others takes what comes
    }
    ++threads_;
    ++free_;
  }

  void Work() {
    for (;;) {
      const bool goesOn = io_.run_one() > 0;
      const std::lock_guard lock(mutex_);
      if (goesOn && free_ <= kSpareThreads) continue;
      --free_;
      --threads_;
      ended_.notify_all();
      return;
    }
  }

  void AwaitPeer() {
    acceptor_.async_wait(
        tcp::acceptor::wait_read,
        [this](error_code) {
          Descriptor socket(
              accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
          // Too many descriptors are open: that passes.
          if (socket.Get() < 0 && errno != EAGAIN) std::this_thread::sleep_for(kPause);
          const std::lock_guard lock(mutex_);
          if (stopping_) return;
          if (socket.Get() >= 0)
            AwaitRequest(peers_.insert(peers_.end(), {std::move(socket), tcp::socket(io_), {}}));
          AwaitPeer();
        });
  }

  void AwaitRequest(Peers::iterator peer) {
    error_code error;
    peer->watched.assign(tcp::v4(), peer->socket.Get(), error);
    if (error) return static_cast<void>(peers_.erase(peer));
    peer->idleSince = Clock::now();
    peer->watched.async_wait(tcp::socket::wait_read, [this, peer](error_code) { Serve(peer); });
  }

  void Serve(Peers::iterator peer) {
    std::unique_lock lock(mutex_);
    peer->watched.release();
    peer->idleSince = Clock::time_point::max();
    if (--free_ == 0) AddThread();
    lock.unlock();
    const bool goesOn = ServeConnection(peer->socket.Get(), limits_, maker_);
    lock.lock();
    ++free_;
    if (goesOn)
      AwaitRequest(peer);
    else
      peers_.erase(peer);
  }

  void CloseIdle() {
    timer_.expires_after(kCloseIdleEvery);
    timer_.async_wait([this](error_code) {
      const std::lock_guard lock(mutex_);
      if (stopping_) return;
      for (const Peer& peer : peers_)
        if (Clock::now() - peer.idleSince > kIdleLimit) shutdown(peer.socket.Get(), SHUT_RDWR);
      CloseIdle();
    });
  }

  const Limits limits_;
  const ExchangeMaker maker_;
  std::mutex mutex_;  // guards what follows
  boost::asio::io_context io_;
  tcp::acceptor acceptor_{io_};
  boost::asio::steady_timer timer_{io_};
  Peers peers_;
  bool stopping_ = false;
  size_t threads_ = 0;
  size_t free_ = 0;  // of these, those that serve nobody
  std::condition_variable ended_;
};

}  // namespace

std::unique_ptr<HttpServer> MakeHttpServer(int port, Limits limits, ExchangeMaker maker) {
  return std::make_unique<Server>(port, limits, std::move(maker));
}

}  // namespace kelo::devservice
