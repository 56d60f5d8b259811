// The steps of a request.
#include "devservice/http/Exchange.h"

namespace kelo::devservice {
namespace {

using Clock = std::chrono::steady_clock;

// A request that announces no body has none.
bool HasBody(const LoggedRequest& request) {
  return !request.Header("Content-Length").empty() || !request.Header("Transfer-Encoding").empty();
}

// Reads about `limit` bytes at most, and gives false where there are more; sets body, bodySize and
// complete.
bool ReadBody(Exchange& exchange, Connection& connection, const httplib::ContentReader* reader,
              std::uint64_t limit) {
  LoggedRequest& request = exchange.request;
  request.bodySize = 0;
  if (!reader || !HasBody(request)) return true;
  connection.AllowBody(exchange.bytesPerSecond);
  const auto receive = [&](const char* data, std::size_t size) {
    request.bodySize += size;
    exchange.Take({data, size});
    return request.bodySize <= limit;
  };
  exchange.record.complete = request.complete = (*reader)(receive);
  exchange.record.bytesIn = request.bodySize;
  return request.bodySize <= limit;
}

void SendAndLeave(Exchange& exchange, Connection& connection, const Reply& reply) {
  exchange.record.answer = reply.body;
  connection.SendAndLeave({reply, {}, false}, exchange.request.method == "HEAD");
}

void LeaveEarly(Exchange& exchange, Connection& connection, const httplib::ContentReader* reader,
                const Reply& reply) {
  exchange.request.bodySize = 0;
  if (reply.readFirst > 0) ReadBody(exchange, connection, reader, reply.readFirst - 1);
  exchange.record.complete = exchange.request.complete = false;
  exchange.OnRequest();
  SendAndLeave(exchange, connection, reply);
}

Reply Malformed() {
  return PlainReply(400, "This cannot be read as a whole HTTP request\n");
}

void TakeSteps(Exchange& exchange, Connection& connection, const httplib::ContentReader* reader) {
  if (const auto early = exchange.OnHead()) return LeaveEarly(exchange, connection, reader, *early);
  const bool fits = ReadBody(exchange, connection, reader, exchange.MaxBody());
  const Answer answer = exchange.OnRequest();
  const LoggedRequest& request = exchange.request;
  if (!request.complete) return SendAndLeave(exchange, connection, fits ? Malformed() : TooLarge());
  // A body that stays unread is not the next request.
  if (!reader && HasBody(request)) return connection.SendAndLeave(answer, request.method == "HEAD");
  const bool takesGzip = request.Header("Accept-Encoding").find("gzip") != std::string::npos;
  connection.Send(answer, request.method == "HEAD", takesGzip);
}

template <typename Steps>
void Complete(Exchange& exchange, Connection& connection, const Steps& steps) {
  const auto start = Clock::now();
  connection.CountFromHere();
  try {
    steps();
  } catch (const std::exception& error) {
    SendAndLeave(exchange, connection, PlainReply(500, std::string(error.what()) + "\n"));
  }
  RequestRecord& record = exchange.record;
  record.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
  record.status = connection.SentStatus();
  record.bytesOut = connection.SentBytes();
  exchange.OnDone();
  connection.Drain();
}

}  // namespace

Exchange::Exchange(LoggedRequest head) : request(std::move(head)) {
  record.time = std::chrono::system_clock::now();
  record.verb = request.method;
  record.path = request.path;
  record.query = request.query;
}

void Serve(Exchange& exchange, Connection& connection, const httplib::ContentReader* reader) {
  Complete(
      exchange, connection, [&] { TakeSteps(exchange, connection, reader); });
}

void Refuse(Exchange& exchange, Connection& connection) {
  Complete(
      exchange, connection, [&] { LeaveEarly(exchange, connection, nullptr, Malformed()); });
}

Reply PlainReply(int status, std::string body) {
  Reply reply;
  reply.status = status;
  reply.body = std::move(body);
  reply.headers.emplace_back("Content-Type", "text/plain; charset=UTF-8");
  return reply;
}

Reply TooLarge() {
  return PlainReply(413, "Request too large\n");
}

}  // namespace kelo::devservice
