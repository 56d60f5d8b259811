// A peer between the library and the local service: it hands every request on and brings the answer
// back, until a test lets a fault answer instead. So a fault and the healed service share one URL.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "devservice/Peer.h"
#include "http/SocketServer.h"

namespace kelo::testing {

class Front {
 public:
  // Answers a request that has been read; false ends the connection.
  using Fault = std::function<bool(Peer&)>;

  explicit Front(std::string serviceUrl)
      : serviceUrl_(std::move(serviceUrl)), server_([this](Peer& peer) { Serve(peer); }) {}
  std::string Url(std::string_view path = "") const { return server_.Url(path); }
  // The first `good` requests from now on reach the service, the others meet the fault.
  void Break(Fault fault, int good = 0) {
    const std::lock_guard lock(lock_);
    fault_ = std::move(fault);
    good_ = good;
    requests_ = 0;
  }
  void Heal() { Break(nullptr); }
  // Waits until so many requests since Break() are on their way to the service or to the fault, so
  // that Heal() comes too late for them; false after ten seconds.
  bool WaitForRequests(size_t count) {
    std::unique_lock lock(lock_);
    return assigned_.wait_for(lock, std::chrono::seconds(10), [&] { return requests_ >= count; });
  }
  int OpenConnections() const { return open_; }

 private:
  void Serve(Peer& peer) {
    ++open_;
    for (;;) {
      const std::string request = peer.ReadRequest();
      if (request.empty()) break;
      const Fault fault = FaultOfNextRequest();
      if (!(fault ? fault(peer) : peer.Send(AskService(request)))) break;
    }
    --open_;
  }
  Fault FaultOfNextRequest() {
    const std::lock_guard lock(lock_);
    ++requests_;
    assigned_.notify_all();
    return good_-- > 0 ? nullptr : fault_;
  }
  std::string AskService(std::string request) const {
    request.insert(request.find("\r\n") + 2, "Connection: close\r\n");
    const devservice::Peer service(serviceUrl_);
    return service.Send(request) ? service.Receive() : "";
  }

  const std::string serviceUrl_;
  std::mutex lock_;
  std::condition_variable assigned_;
  Fault fault_;
  int good_ = 0;
  size_t requests_ = 0;  // since Break()
  std::atomic<int> open_ = 0;
  SocketServer server_;
};

}  // namespace kelo::testing
