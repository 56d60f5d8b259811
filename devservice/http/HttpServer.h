// The HTTP side: accepts connections, reads requests, hands them to the service and sends its
// answers. Knows nothing of the protocol.
#pragma once

#include <memory>
#include <stdexcept>

#include "devservice/http/Exchange.h"

namespace kelo::devservice {

// The port cannot be had.
class PortError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A request has a thread from its first byte to its answer's last one, so that silent answers never
// keep others waiting; a connection without a request has none.
class HttpServer {
 public:
  virtual ~HttpServer() = default;  // ends all connections at once
  virtual int Port() const = 0;
  virtual void Start() = 0;  // before this, connections wait
};

// Listens on loopback; port 0: a free one. Throws PortError. From then on the process ignores
// SIGPIPE.
std::unique_ptr<HttpServer> MakeHttpServer(int port, Limits limits, ExchangeMaker maker);

}  // namespace kelo::devservice
