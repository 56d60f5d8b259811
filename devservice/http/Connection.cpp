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
constexpr std::uint64_t kLeastBytesPerMillisecond = 1;
constexpr milliseconds kDrainLimit{10'000};

struct StatusText {
  int status;
  std::string_view text;
};
constexpr StatusText kStatusTexts[] = {
    {200, "OK"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {408, "Request Timeout"},
    {413, "Payload Too Large"},
    {500, "Internal Server Error"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
};

std::string_view TextOfStatus(int status) {
  const auto* found = std::ranges::find(kStatusTexts, status, &StatusText::status);
  return found == std::end(kStatusTexts) ? "Status" : found->text;
}

bool HasHeader(const Reply& reply, const char* name) {
  return std::ranges::any_of(
      reply.headers,
      [&](const auto& header) { return strcasecmp(header.first.c_str(), name) == 0; });
}

std::uint64_t ClaimedLength(const Reply& reply, std::uint64_t length) {
  if (reply.declaredLength) return *reply.declaredLength;
  const auto claimed = static_cast<std::int64_t>(length) + reply.addedLength;
  return static_cast<std::uint64_t>(std::max<std::int64_t>(claimed, 0));
}

std::string HeadOf(const Reply& reply, std::uint64_t length) {
  std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
  head += TextOfStatus(reply.status);
  head += "\r\n";
  for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
  if (!HasHeader(reply, "Content-Type")) head += "Content-Type: text/xml; charset=UTF-8\r\n";
  const bool bodyless = reply.status == 204 || reply.status == 304;
  if (!bodyless && !HasHeader(reply, "Content-Length") && !HasHeader(reply, "Transfer-Encoding"))
    head += "Content-Length: " + std::to_string(ClaimedLength(reply, length)) + "\r\n";
  return head + "\r\n";
}

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
  deadline_ = Clock::now() + kLinger;
  if (begin_ == end_ && !AwaitSocket(POLLIN)) return false;
  deadline_ = Clock::now() + limits_.head;
  headLeft_ = kMaxHead;
  return true;
}

void Connection::AllowBody() {
  deadline_ = Clock::now() + limits_.body;
  headLeft_ = std::numeric_limits<std::uint64_t>::max();
}

bool Connection::AwaitSocket(short events) const {
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline_ - Clock::now()).count();
    if (left <= 0) return false;
    pollfd wait{socket_, events, 0};
    const int ready =
        poll(&wait, 1, static_cast<int>(std::min<std::int64_t>(left, kDrainLimit.count())));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

void Connection::Count(std::uint64_t bytes) {
  deadline_ += milliseconds(bytes / kLeastBytesPerMillisecond);
}

ssize_t Connection::read(char* data, size_t size) {
  while (begin_ == end_) {
    const ssize_t received = recv(socket_, buffer_.get(), kBufferSize, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && errno == EAGAIN && AwaitSocket(POLLIN)) continue;
    if (received <= 0) return received;
    begin_ = 0;
    end_ = static_cast<std::size_t>(received);
    if (headLeft_ > kMaxHead) Count(end_);
  }
  const std::size_t taken = std::min({size, end_ - begin_, static_cast<std::size_t>(headLeft_)});
  std::memcpy(data, buffer_.get() + begin_, taken);
  begin_ += taken;
  headLeft_ -= taken;
  return static_cast<ssize_t>(taken);
}

ssize_t Connection::write(const char* data, size_t size) {
  if (answered_) return static_cast<ssize_t>(size);
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

void Connection::CountFromHere() {
  sentBytes_ = 0;
  sentStatus_ = 0;
}

bool Connection::Pause(std::optional<milliseconds> duration) {
  const auto until = Clock::now() + duration.value_or(milliseconds(0));
  if (duration) deadline_ += *duration;  // not the peer's slowness
  while (!duration || Clock::now() < until) {
    pollfd wait{socket_, POLLRDHUP, 0};
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
    const int ready =
        poll(&wait, 1, duration ? static_cast<int>(std::max(left, milliseconds(0)).count()) : -1);
    if (ready > 0) return false;
    if (ready < 0 && errno != EINTR) return false;
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
  if (reply.reset) ResetWhenClosed();
  if (reply.silent) Pause(std::nullopt);
  if (reply.silent || reply.reset || reply.closeAtOnce || !Pause(reply.delay)) {
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
  if (reply.chunkSize == 0 && body.size() < kBufferSize) return SendAll(head.append(body));
  if (!SendAll(head)) return false;
  const std::size_t piece = reply.chunkSize ? reply.chunkSize : body.size();
  for (; !body.empty(); body.remove_prefix(std::min(piece, body.size())))
    if (!SendAll(body.substr(0, piece)) || !Pause(reply.chunkDelay)) return false;
  return true;
}

bool Connection::SendFile(const std::filesystem::path& path, const Reply& reply) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) return false;
  std::uint64_t left = std::filesystem::file_size(path);
  if (!SendAll(HeadOf(reply, left))) return false;
  left = std::min<std::uint64_t>(left, reply.cutAfter.value_or(left));
  while (left > 0) {
    const std::uint64_t piece =
        reply.chunkSize ? std::min<std::uint64_t>(left, reply.chunkSize) : left;
    if (!SendFilePiece(file.Get(), piece) || !Pause(reply.chunkDelay)) return false;
    left -= piece;
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

void Connection::SendAndLeave(Answer answer) {
  answer.reply.headers.emplace_back("Connection", "close");
  Send(answer, false, false);
  mustClose_ = true;
  // Closing with unread bytes would reset the connection and could destroy the answer under way.
  if (sentStatus_ != 0) DrainUntilPeerLeaves();
}

void Connection::DrainUntilPeerLeaves() {
  shutdown(socket_, SHUT_WR);
  const auto until = Clock::now() + kDrainLimit;
  while (Clock::now() < until) {
    pollfd wait{socket_, POLLIN, 0};
    if (poll(&wait, 1, static_cast<int>(kDrainLimit.count())) <= 0) return;
    if (recv(socket_, buffer_.get(), kBufferSize, 0) <= 0) return;
  }
}

}  // namespace kelo::devservice
