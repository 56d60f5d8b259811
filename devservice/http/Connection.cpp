// Reading through one large buffer, and writing of answers with every scripted fault.
#include "devservice/http/Connection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "devservice/files/Descriptor.h"
#include "devservice/http/Gzip.h"

namespace kelo::devservice {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBufferSize = 256 * 1024;
constexpr std::size_t kCompressFrom = 1024;  // smaller answers travel in one packet anyway
constexpr milliseconds kLinger{1000};        // before others watch an idle connection
constexpr std::uint64_t kMaxHead = 256 * 1024;
constexpr std::size_t kMaxBeginning = 200;
constexpr std::uint64_t kLeastBytesPerMillisecond = 1;
constexpr milliseconds kDrainLimit{10'000};
constexpr std::int64_t kMaxPoll = 60'000;  // milliseconds

void ReadAddress(const sockaddr_storage& address, std::string& ip, int& port) {
  if (address.ss_family != AF_INET) return;
  sockaddr_in v4{};
  std::memcpy(&v4, &address, sizeof v4);
  char text[INET_ADDRSTRLEN] = {};
  if (inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text)) ip = text;
  port = ntohs(v4.sin_port);
}

}  // namespace

Connection::Connection(int socket, Limits limits)
    : socket_(socket),
      limits_(limits),
      buffer_(std::make_unique_for_overwrite<char[]>(kBufferSize)) {}

bool Connection::AwaitRequest() {
  answered_ = false;
  beginning_.clear();
  deadline_ = Clock::now() + kLinger;
  if (begin_ == end_ && !AwaitSocket(POLLIN)) return false;
  deadline_ = Clock::now() + limits_.head;
  headLeft_ = kMaxHead;
  pace_ = Pace(0);
  return true;
}

void Connection::AllowBody(std::uint64_t bytesPerSecond) {
  deadline_ = Clock::now() + limits_.body;
  pace_ = Pace(bytesPerSecond);
  headLeft_ = std::numeric_limits<std::uint64_t>::max();
}

bool Connection::AwaitSocket(short events) const {
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline_ - Clock::now()).count();
    if (left <= 0) return false;
    pollfd wait{socket_, events, 0};
    const int ready = poll(&wait, 1, static_cast<int>(std::min<std::int64_t>(left, kMaxPoll)));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

void Connection::Count(std::uint64_t bytes) {
  deadline_ += milliseconds(bytes / kLeastBytesPerMillisecond);
}

ssize_t Connection::read(char* data, size_t size) {
  while (begin_ == end_) {
    // What waits in the socket slows the peer down; a smaller receive buffer would make TCP stall.
    const auto wanted = static_cast<std::size_t>(pace_.Piece(kBufferSize));
    const ssize_t received = recv(socket_, buffer_.get(), wanted, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && errno == EAGAIN && AwaitSocket(POLLIN)) continue;
    if (received <= 0) return received;
    begin_ = 0;
    end_ = static_cast<std::size_t>(received);
    if (headLeft_ > kMaxHead) Count(end_);
  }
  const auto most = static_cast<std::size_t>(std::min(pace_.Piece(size), headLeft_));
  const std::size_t taken = std::min(most, end_ - begin_);
  // Of a peer that has left, the rest is taken at once.
  if (!PauseUntil(pace_.After(taken))) pace_ = Pace(0);
  std::memcpy(data, buffer_.get() + begin_, taken);
  begin_ += taken;
  headLeft_ -= taken;
  beginning_.append(data, std::min(taken, kMaxBeginning - beginning_.size()));
  return static_cast<ssize_t>(taken);
}

ssize_t Connection::write(const char* data, size_t size) {
  // Of httplib's own answers only the one that calls for the body goes out.
  const bool callsForBody = !answered_ && std::string_view(data, size).starts_with("HTTP/1.1 100");
  if (!callsForBody) return static_cast<ssize_t>(size);
  return SendAll({data, size}) ? static_cast<ssize_t>(size) : -1;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getpeername(socket_, reinterpret_cast<sockaddr*>(&address), &size) == 0)
    ReadAddress(address, ip, port);
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) == 0)
    ReadAddress(address, ip, port);
}

std::string_view Connection::FirstLine() const {
  const std::string_view text = beginning_;
  return text.substr(0, text.find_first_of("\r\n"));
}

void Connection::CountFromHere() {
  sentBytes_ = 0;
  sentStatus_ = 0;
}

bool Connection::PauseUntil(Clock::time_point until) {
  auto now = Clock::now();
  if (until > now) deadline_ += until - now;  // not the peer's slowness
  for (; now < until; now = Clock::now()) {
    pollfd wait{socket_, POLLRDHUP, 0};
    const std::int64_t left = std::chrono::ceil<milliseconds>(until - now).count();
    const int ready = poll(&wait, 1, static_cast<int>(std::min<std::int64_t>(left, kMaxPoll)));
    if (ready > 0 || (ready < 0 && errno != EINTR)) return false;
  }
  return true;
}

bool Connection::SendAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno == EAGAIN && AwaitSocket(POLLOUT)) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
    sentBytes_ += static_cast<std::size_t>(sent);
    Count(static_cast<std::size_t>(sent));
  }
  return true;
}

void Connection::Send(const Answer& answer, bool headOnly, bool peerTakesGzip) {
  answered_ = true;
  deadline_ = Clock::now() + limits_.body;
  Reply reply = answer.reply;
  // The peer would take it for the beginning of its next answer.
  if (HasNoBody(reply.status)) reply.body.clear();
  if (reply.reset) ResetWhenClosed();
  while (reply.silent && PauseUntil(Clock::now() + std::chrono::hours(1))) continue;
  if (reply.silent || reply.reset || reply.closeAtOnce || !PauseUntil(Clock::now() + reply.delay)) {
    mustClose_ = true;
    return;
  }
  bool sent = false;
  if (!answer.file.empty()) {
    const std::uint64_t size = std::filesystem::file_size(answer.file);
    sent = headOnly ? SendAll(HeadOf(reply, size)) : SendFile(answer.file, reply);
  } else {
    if (answer.mayCompress && peerTakesGzip && reply.body.size() >= kCompressFrom) {
      reply.body = Gzip(reply.body);
      reply.headers.emplace_back("Content-Encoding", "gzip");
    }
    sent = headOnly ? SendAll(HeadOf(reply, reply.body.size())) : SendBody(reply);
  }
  if (sentBytes_ > 0) sentStatus_ = reply.status;
  const bool lengthIsWrong = reply.addedLength != 0 ||
                             (reply.declaredLength && *reply.declaredLength != reply.body.size());
  if (!sent || reply.cutAfter || lengthIsWrong) mustClose_ = true;
}

void Connection::ResetWhenClosed() {
  const linger atOnce{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

bool Connection::SendBody(const Reply& reply) {
  std::string head = HeadOf(reply, reply.body.size());
  std::string_view body = reply.body;
  body = body.substr(0, reply.cutAfter.value_or(body.size()));
  if (reply.bytesPerSecond == 0 && body.size() < kBufferSize) return SendAll(head.append(body));
  return SendAll(head) && SendPaced(reply.bytesPerSecond, body.size(), [&](std::uint64_t piece) {
           const std::string_view next = body.substr(0, static_cast<std::size_t>(piece));
           body.remove_prefix(next.size());
           return SendAll(next);
         });
}

bool Connection::SendFile(const std::filesystem::path& path, const Reply& reply) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) return false;
  std::uint64_t left = std::filesystem::file_size(path);
  if (!SendAll(HeadOf(reply, left))) return false;
  left = std::min<std::uint64_t>(left, reply.cutAfter.value_or(left));
  return SendPaced(reply.bytesPerSecond, left,
                   [&](std::uint64_t piece) { return SendFilePiece(file.Get(), piece); });
}

// Sends a body piece by piece, none before its time.
template <typename SendPiece>
bool Connection::SendPaced(std::uint64_t bytesPerSecond, std::uint64_t size, SendPiece sendPiece) {
  for (Pace pace(bytesPerSecond); size > 0;) {
    const std::uint64_t piece = pace.Piece(size);
    if (!PauseUntil(pace.After(piece)) || !sendPiece(piece)) return false;
    size -= piece;
  }
  return true;
}

bool Connection::SendFilePiece(int file, std::uint64_t size) {
  constexpr std::uint64_t kMaxAtOnce = 1u << 30;
  while (size > 0) {
    const auto wanted = static_cast<std::size_t>(std::min(size, kMaxAtOnce));
    const ssize_t sent = sendfile(socket_, file, nullptr, wanted);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno == EAGAIN && AwaitSocket(POLLOUT)) continue;
    if (sent <= 0) return false;
    size -= static_cast<std::uint64_t>(sent);
    sentBytes_ += static_cast<std::uint64_t>(sent);
    Count(static_cast<std::uint64_t>(sent));
  }
  return true;
}

void Connection::SendAndLeave(Answer answer, bool headOnly) {
  answer.reply.headers.emplace_back("Connection", "close");
  Send(answer, headOnly, false);
  mustClose_ = true;
  drains_ = sentStatus_ != 0;
}

void Connection::Drain() {
  if (!std::exchange(drains_, false)) return;
  shutdown(socket_, SHUT_WR);
  const auto until = Clock::now() + kDrainLimit;
  while (Clock::now() < until) {
    pollfd wait{socket_, POLLIN, 0};
    if (poll(&wait, 1, static_cast<int>(kDrainLimit.count())) <= 0) return;
    if (recv(socket_, buffer_.get(), kBufferSize, 0) <= 0) return;
  }
}

}  // namespace kelo::devservice
