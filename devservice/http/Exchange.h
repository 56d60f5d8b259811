// One request on its way: what arrives, what the service makes of it, and what is kept of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "devservice/http/Connection.h"
#include "devservice/http/Message.h"
#include "devservice/http/RequestRecord.h"

namespace kelo::devservice {

// Derived classes decide. Used by its connection's thread, which calls what follows in this order.
class Exchange {
 public:
  explicit Exchange(LoggedRequest head);
  virtual ~Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // Before the body is read. A reply ends the request there.
  virtual std::optional<Reply> OnHead() = 0;
  // How many bytes of body this request may have. More are answered by 413.
  virtual std::uint64_t MaxBody() = 0;
  // A piece of the body; `request.bodySize` counts it already. Kept in `request.body`.
  virtual void Take(std::string_view bytes) { request.body.append(bytes); }
  // A whole request, or (request.complete == false) one that is over already: its answer is not
  // this one. Completes the record by what only the protocol knows.
  virtual Answer OnRequest() = 0;
  // The answer is sent, as far as it was, and the record complete.
  virtual void OnDone() {}

  LoggedRequest request;
  RequestRecord record;
  std::uint64_t bytesPerSecond = 0;  // at which the body is taken; 0: as fast as it comes
};

// Takes the rest of the request, answers it, and completes its record. Without a reader there is no
// body.
void Serve(Exchange& exchange, Connection& connection, const httplib::ContentReader* reader);

// Answers what is no request, or none that this service serves, and leaves.
void Refuse(Exchange& exchange, Connection& connection);

// The answer to a body that is too long.
Reply TooLarge();

// A text as answer, for people.
Reply PlainReply(int status, std::string body);

}  // namespace kelo::devservice
