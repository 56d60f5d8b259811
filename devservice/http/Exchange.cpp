// The steps of a request. Beast parses it; the answer is written here, byte by byte as wanted,
// because faults (pauses, cuts, wrong lengths) need more control than its serializer gives.
#include "devservice/http/Exchange.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <cerrno>
#include <limits>

#include "devservice/files/Descriptor.h"
#include "devservice/http/Pace.h"

namespace kelo::devservice {
namespace {

namespace http = boost::beast::http;
using boost::beast::error_code;
using Parser = http::request_parser<http::buffer_body>;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr size_t kMaxHead = 256 * 1024;       // also of a chunk
constexpr size_t kPiece = 64 * 1024;          // of a body, taken at once
constexpr std::uint64_t kMaxPiece = 1 << 30;  // sent at once
constexpr size_t kMaxLine = 200;
constexpr size_t kCompressFrom = 1024;  // smaller answers travel in one packet anyway
constexpr milliseconds kLinger{5};      // who is busy asks again
constexpr milliseconds kDrainLimit{10'000};
constexpr milliseconds kMaxPoll{60'000};

// Answers of this status end with their head.
bool HasNoBody(int status) {
  return status == 204 || status == 304;
}

std::string HeadOf(const Reply& reply, std::uint64_t length) {
  const auto status = http::int_to_status(static_cast<unsigned>(reply.status));
  std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
  head += std::string(http::obsolete_reason(status)) + "\r\n";
  for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
  const auto lacks = [&](const char* name) { return HeaderIn(reply.headers, name).empty(); };
  if (lacks("Content-Type")) head += "Content-Type: text/xml; charset=UTF-8\r\n";
  const auto claimed =
      std::max<std::int64_t>(static_cast<std::int64_t>(length) + reply.addedLength, 0);
  if (!HasNoBody(reply.status) && lacks("Content-Length") && lacks("Transfer-Encoding"))
    head += "Content-Length: " + std::to_string(claimed) + "\r\n";
  return head + "\r\n";
}

Reply Malformed() {
  return PlainReply(400, "This cannot be read as a whole HTTP request\n");
}

ClientRequest HeadOf(const Parser& parser) {
  const auto& message = parser.get();
  ClientRequest head;
  head.verb = std::string(message.method_string());
  head.target = std::string(message.target());
  const size_t mark = head.target.find('?');
  head.path = head.target.substr(0, mark);
  if (mark != std::string::npos) head.query = head.target.substr(mark + 1);
  for (const auto& field : message) head.headers.emplace_back(field.name_string(), field.value());
  head.announcedSize = parser.content_length().value_or(0);
  return head;
}

class Connection {
 public:
  Connection(int socket, const Limits& limits) : socket_(socket), limits_(limits) {
    buffer_.reserve(kPiece);
  }

  // Whether the next request has begun.
  bool HasMore() const { return buffer_.size() > 0 || Await(POLLIN, Clock::now() + kLinger); }

  // Whether the connection goes on.
  bool ServeRequest(const ExchangeMaker& maker) {
    Parser parser;
    parser.header_limit(kMaxHead);
    parser.body_limit(std::numeric_limits<std::uint64_t>::max());  // an exchange's own limit holds
    deadline_ = Clock::now() + limits_.head;
    pace_ = Pace(0);
    const auto begun = static_cast<const char*>(buffer_.cdata().data());
    line_.assign(begun, std::min(buffer_.size(), kMaxLine));
    error_code error;
    http::read_header(*this, buffer_, parser, error);
    if (error && line_.empty()) return false;
    const auto exchange = maker(error ? Unreadable() : HeadOf(parser));
    const auto start = Clock::now();
    RequestRecord& record = exchange->record;
    std::optional<Reply> last;
    bool goesOn = false;
    try {
      last = TakeSteps(*exchange, parser, !error);
      if (!last) goesOn = Send(*exchange, exchange->OnRequest()) && parser.keep_alive();
    } catch (const std::exception& failure) {
      last = PlainReply(500, std::string(failure.what()) + "\n");
    }
    if (last) {
      record.answer = last->body;
      last->headers.emplace_back("Connection", "close");
      Send(*exchange, std::move(*last));
    }
    record.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    static_cast<RequestFacts&>(record) = exchange->request;
    exchange->OnDone();
    if (last && record.status != 0) Drain();
    return goesOn;
  }

  // For Beast.
  template <typename Buffers>
  size_t read_some(const Buffers& buffers, error_code& error) {
    const boost::asio::mutable_buffer room = *boost::asio::buffer_sequence_begin(buffers);
    // What waits in the socket slows the peer down; a smaller receive buffer would make TCP stall.
    const auto most = static_cast<size_t>(pace_.Piece(room.size()));
    ssize_t received = 0;
    do received = recv(socket_, room.data(), most, 0);
    while (received < 0 && errno == EAGAIN && Await(POLLIN, deadline_));
    const auto size = static_cast<size_t>(std::max<ssize_t>(received, 0));
    if (size == 0) error = boost::asio::error::eof;
    line_.append(static_cast<const char*>(room.data()), std::min(size, kMaxLine - line_.size()));
    return size;
  }
  template <typename Buffers>
  size_t read_some(const Buffers& buffers);  // it asks for this, and uses the other

 private:
  // What arrives is known to the service even where it cannot be read.
  ClientRequest Unreadable() const {
    ClientRequest head;
    head.verb = "?";
    head.target = head.path = line_.substr(0, line_.find_first_of("\r\n"));
    return head;
  }

  // Takes the request. A reply ends the connection, although the peer may still be sending.
  std::optional<Reply> TakeSteps(Exchange& exchange, Parser& parser, bool isRead) {
    ClientRequest& request = exchange.request;
    std::optional<Reply> early = isRead ? exchange.OnHead() : Malformed();
    const std::uint64_t most = exchange.MaxBody();
    if (!early) ReadBody(exchange, parser, most);
    request.complete = !early && parser.is_done();
    exchange.OnArrived();
    if (request.complete) return std::nullopt;
    if (!early) early = request.bodySize > most ? TooLarge(most) : Malformed();
    return early;
  }

  // Gives up behind so many bytes.
  void ReadBody(Exchange& exchange, Parser& parser, std::uint64_t most) {
    if (parser.is_done()) return;
    ClientRequest& request = exchange.request;
    if (request.Header("Expect") == "100-continue") SendAll("HTTP/1.1 100 Continue\r\n\r\n");
    deadline_ = Clock::now() + limits_.body;
    pace_ = Pace(exchange.bytesPerSecond);
    std::string piece(kPiece, '\0');
    for (error_code error; !error && !parser.is_done() && request.bodySize <= most;) {
      auto& room = parser.get().body();
      room = {piece.data(), static_cast<size_t>(pace_.Piece(piece.size())), true};
      http::read_some(*this, buffer_, parser, error);
      if (error == http::error::need_buffer) error = {};
      const auto size = static_cast<size_t>(static_cast<char*>(room.data) - piece.data());
      deadline_ += milliseconds(size);
      // Of a peer that has left, the rest is taken at once.
      if (!PauseUntil(pace_.After(size))) pace_ = Pace(0);
      request.bodySize += size;
      exchange.Take({piece.data(), size});
    }
  }

  // Whether one of these events comes in time.
  bool Await(short events, Clock::time_point until) const {
    for (;;) {
      const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
      if (left.count() <= 0) return false;
      pollfd wait{socket_, events, 0};
      if (poll(&wait, 1, static_cast<int>(std::min(left, kMaxPoll).count())) > 0) return true;
    }
  }

  // False when the peer left, or the service stops.
  bool PauseUntil(Clock::time_point until) {
    deadline_ += std::max(until - Clock::now(), Clock::duration());  // not the peer's slowness
    return !Await(POLLRDHUP, until);
  }

  // By a call that sends some of what is left.
  template <typename Call>
  bool SendAll(std::uint64_t left, Call call) {
    while (left > 0) {
      const ssize_t sent = call(static_cast<size_t>(left));
      if (sent < 0 && errno == EAGAIN && Await(POLLOUT, deadline_)) continue;
      if (sent <= 0) return false;
      left -= static_cast<std::uint64_t>(sent);
      sentBytes_ += static_cast<std::uint64_t>(sent);
      deadline_ += milliseconds(sent);
    }
    return true;
  }

  bool SendAll(std::string_view bytes, int flags = 0) {
    return SendAll(
        bytes.size(),
        [&](size_t left) {
          return send(socket_, bytes.data() + bytes.size() - left, left, MSG_NOSIGNAL | flags);
        });
  }

  // Whether the connection can go on.
  bool Send(Exchange& exchange, Reply reply) {
    sentBytes_ = 0;
    deadline_ = Clock::now() + limits_.body;
    const bool goesOn = SendReply(reply, exchange.request);
    exchange.record.status = sentBytes_ > 0 ? reply.status : 0;
    exchange.record.bytesOut = sentBytes_;
    return goesOn;
  }

  bool SendReply(Reply& reply, const ClientRequest& request) {
    const linger atOnce{1, 0};
    if (reply.reset) setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    while (reply.silent && PauseUntil(Clock::now() + std::chrono::hours(1))) continue;
    if (reply.silent || reply.closeAtOnce || (reply.reset && reply.hasHead)) return false;
    if (!PauseUntil(Clock::now() + reply.delay)) return false;
    // The peer would take it for the beginning of its next answer.
    if (HasNoBody(reply.status)) reply.body.clear();
    const bool takesGzip = request.Header("Accept-Encoding").find("gzip") != std::string::npos;
    if (reply.mayCompress && takesGzip && reply.body.size() >= kCompressFrom) {
      reply.body = Gzip(reply.body);
      reply.headers.emplace_back("Content-Encoding", "gzip");
    }
    return SendBody(reply, request.verb == "HEAD");
  }

  bool SendBody(const Reply& reply, bool headOnly) {
    const bool isFile = !reply.file.empty();
    const Descriptor file(isFile ? open(reply.file.c_str(), O_RDONLY | O_CLOEXEC) : -1);
    const std::uint64_t size = isFile ? std::filesystem::file_size(reply.file) : reply.body.size();
    std::uint64_t left =
        std::min<std::uint64_t>(reply.cutAfter.value_or(size), headOnly ? 0 : size);
    const bool isTogether = left > 0 && reply.bytesPerSecond == 0;
    const std::string head = reply.hasHead ? HeadOf(reply, size) : "";
    if (!SendAll(head, isTogether ? MSG_MORE : 0)) return false;
    const auto sendFile = [&](size_t most) { return sendfile(socket_, file.Get(), nullptr, most); };
    std::string_view body = reply.body;
    for (Pace pace(reply.bytesPerSecond); left > 0;) {
      const auto piece = static_cast<size_t>(pace.Piece(std::min(left, kMaxPiece)));
      if (!PauseUntil(pace.After(piece))) return false;
      if (!(isFile ? SendAll(piece, sendFile) : SendAll(body.substr(0, piece)))) return false;
      body.remove_prefix(isFile ? 0 : piece);
      left -= piece;
    }
    return !reply.cutAfter && reply.addedLength == 0 && !reply.reset;
  }

  // Closing with unread bytes would reset the connection, and could destroy the answer under way.
  void Drain() {
    shutdown(socket_, SHUT_WR);
    const auto until = Clock::now() + kDrainLimit;
    buffer_.clear();
    const auto room = buffer_.prepare(kPiece);
    while (Await(POLLIN, until) && recv(socket_, room.data(), room.size(), 0) > 0) continue;
  }

  const int socket_;
  const Limits limits_;
  boost::beast::flat_buffer buffer_{kMaxHead};
  Clock::time_point deadline_;
  Pace pace_{0};      // at which a request's body is taken
  std::string line_;  // the begin of the request, as long as it may be none
  std::uint64_t sentBytes_ = 0;
};

}  // namespace

bool ServeConnection(int socket, const Limits& limits, const ExchangeMaker& maker) {
  Connection connection(socket, limits);
  do {
    if (!connection.ServeRequest(maker)) return false;
  } while (connection.HasMore());
  return true;
}

}  // namespace kelo::devservice
