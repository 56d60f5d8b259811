// A peer between the library and the local service: it hands every request on and brings the answer
// back, until a test lets a fault answer instead. So a fault and the healed service share one URL.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "http/SocketServer.h"

namespace kelo::testing {

class Front {
 public:
  // Answers a request that has been read; false ends the connection.
  using Fault = std::function<bool(Peer&)>;

  explicit Front(int servicePort);
  std::string Url(std::string_view path = "") const { return server_.Url(path); }
  // The first `good` requests from now on reach the service, the others meet the fault.
  void Break(Fault fault, int good = 0);
  void Heal() { Break(nullptr); }
  // Waits until so many requests since Break() are on their way to the service or to the fault, so
  // that Heal() comes too late for them; false after ten seconds.
  bool WaitForRequests(size_t count);
  int OpenConnections() const { return open_; }

 private:
  void Serve(Peer& peer);
  Fault FaultOfNextRequest();
  std::string AskService(std::string request) const;

  const int servicePort_;
  std::mutex lock_;
  std::condition_variable assigned_;
  Fault fault_;
  int good_ = 0;
  size_t requests_ = 0;  // since Break()
  std::atomic<int> open_ = 0;
  SocketServer server_;
};

}  // namespace kelo::testing
