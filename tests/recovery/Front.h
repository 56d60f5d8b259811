// A peer between the library and the local service: it hands every request on and brings the answer
// back, until a test lets a fault answer instead. So a fault and the healed service share one URL.
#pragma once

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
  // Waits for so many requests since Break(); false after ten seconds.
  bool WaitForRequests(size_t count) const { return server_.WaitForRequests(before_ + count); }
  int OpenConnections() const { return open_; }

 private:
  void Serve(Peer& peer);
  Fault FaultOfNextRequest();
  std::string AskService(std::string request) const;

  const int servicePort_;
  std::mutex lock_;
  Fault fault_;
  int good_ = 0;
  size_t before_ = 0;
  std::atomic<int> open_ = 0;
  SocketServer server_;
};

}  // namespace kelo::testing
