// The HTTP side: accepts connections, reads requests with cpp-httplib (a thread for each connection
// that has one), hands them to the service and sends its answers. Knows nothing of the protocol.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>

#include "devservice/http/Connection.h"
#include "devservice/http/Exchange.h"

namespace kelo::devservice {

// Makes what serves a request of which the head has arrived. Called on connection threads, several
// at once.
using ExchangeMaker = std::function<std::unique_ptr<Exchange>(LoggedRequest head)>;

// The port cannot be had.
class PortError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class HttpServer {
 public:
  HttpServer(int port, Connection::Limits limits, ExchangeMaker maker);
  ~HttpServer();  // ends all connections at once
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  int Port() const;
  void Start();  // before this, connections wait
  void Stop();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kelo::devservice
