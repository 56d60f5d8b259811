// The HTTP side: accepts connections, reads requests with cpp-httplib (a thread for each connection
// that has one), hands them to the service and sends its answers. Knows nothing of the protocol.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "devservice/faults/Faults.h"
#include "devservice/http/Connection.h"
#include "devservice/http/Message.h"
#include "devservice/http/RequestRecord.h"

namespace kelo::devservice {

// Takes a request body as it arrives, instead of memory.
class BodySink {
 public:
  virtual ~BodySink() = default;
  virtual void Take(std::string_view bytes) = 0;
};

// A request on its way, and what is kept of it.
struct Exchange {
  LoggedRequest request;
  RequestRecord record;
  std::optional<Fault> fault;        // that fired
  std::uint64_t bytesPerSecond = 0;  // at which the body is taken; 0: as fast as it comes
};

// What the server asks. Called on connection threads, several at once.
class RequestHandler {
 public:
  virtual ~RequestHandler() = default;
  // Before the body is read. A reply ends the request there.
  virtual std::optional<Reply> OnHead(Exchange& exchange) = 0;
  // Where the body goes; null: into LoggedRequest::body.
  virtual std::unique_ptr<BodySink> SinkFor(const LoggedRequest& request) = 0;
  // A whole request, or (complete == false) one that is over already and gets no answer. Completes
  // the record by what only the protocol knows.
  virtual Answer OnRequest(Exchange& exchange, BodySink* sink) = 0;
  // The answer is sent, as far as it was.
  virtual void OnDone(const RequestRecord& record) = 0;
  virtual bool KeepsLargeBodies() const = 0;
  // How many bytes of body this request may have. More are answered by 413.
  virtual std::uint64_t MaxBody(const LoggedRequest& request) = 0;
};

// The answer to a body that is too long.
Reply TooLarge();

// The port cannot be had.
class PortError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class HttpServer {
 public:
  // Bodies beyond this are not kept for the log while they go into a sink.
  static constexpr std::size_t kLargeBody = 1 << 20;

  HttpServer(int port, Connection::Limits limits, RequestHandler& handler);
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
