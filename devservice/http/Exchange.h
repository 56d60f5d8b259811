// One request on its way: what arrives, what the service makes of it, and what is kept of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "devservice/http/Message.h"
#include "devservice/http/RequestRecord.h"

namespace kelo::devservice {

// Derived classes decide. Used by one thread, which calls what follows in this order.
class Exchange {
 public:
  explicit Exchange(ClientRequest head) : request(std::move(head)) {
    record.time = std::chrono::system_clock::now();
  }
  virtual ~Exchange() = default;

  // Before the body is read. A reply ends the request there.
  virtual std::optional<Reply> OnHead() = 0;
  // How many bytes of body this request may have. More are answered by 413.
  virtual std::uint64_t MaxBody() = 0;
  // A piece of the body; `request.bodySize` counts it already. Kept in `request.body`.
  virtual void Take(std::string_view bytes) { request.body.append(bytes); }
  // Nothing more of the request comes. If it is not complete, it was answered or the client left.
  virtual void OnArrived() {}
  // Answers a complete request.
  virtual Reply OnRequest() = 0;
  // The answer is sent, as far as it was, and the record complete.
  virtual void OnDone() {}

  ClientRequest request;
  RequestRecord record;
  std::uint64_t bytesPerSecond = 0;  // at which the body is taken; 0: as fast as it comes
};

// Makes what serves a request of which the head has arrived. Called on several threads at once.
using ExchangeMaker = std::function<std::unique_ptr<Exchange>(ClientRequest head)>;

// head: how long the head may take. body: how long a body, and an answer, may take; each a second
// more for every 1000 bytes.
struct Limits {
  std::chrono::milliseconds head;
  std::chrono::milliseconds body;
};

// Serves the requests that come on a socket, which does not block, on this thread. False when the
// connection is over, true when the peer has nothing more to ask for the moment. The socket is shut
// down from outside to end it at once.
bool ServeConnection(int socket, const Limits& limits, const ExchangeMaker& maker);

}  // namespace kelo::devservice
