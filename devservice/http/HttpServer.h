// The HTTP side: accepts connections, reads requests, hands them to the service and sends its
// answers. Knows nothing of the protocol.
#pragma once

#include <memory>

#include "devservice/http/Exchange.h"

namespace kelo::devservice {

// A request has a thread from its first byte to its answer's last one, so that silent answers never
// keep others waiting; a connection without a request has none.
class HttpServer {
 public:
  virtual ~HttpServer() = default;  // ends all connections at once
  virtual int Port() const = 0;
  virtual void Start() = 0;  // before this, connections wait
};

// Listens on loopback; port 0: a free one. Throws std::runtime_error if the port cannot be had.
// From then on the process ignores SIGPIPE.
std::unique_ptr<HttpServer> MakeHttpServer(int port, Limits limits, ExchangeMaker maker);

}  // namespace kelo::devservice
