// Accepts connections on a plain socket, and hands each to the test's function.
#include "http/SocketServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

namespace kelo {
namespace {

constexpr std::size_t kReadSize = 262144;
// Appends the bytes except zeros; how many of these there were.
std::size_t AppendWithoutZeros(std::string& text, std::string_view bytes) {
  const std::size_t before = text.size();
  const bool isHole = bytes[0] == '\0' && bytes.substr(1) == bytes.substr(0, bytes.size() - 1);
  if (!isHole) std::ranges::remove_copy(bytes, std::back_inserter(text), '\0');
  return before + bytes.size() - text.size();
}

}  // namespace

std::string Response(int status, std::string_view body, std::string_view headers) {
  return "HTTP/1.1 " + std::to_string(status) + " Scripted\r\n" + std::string(headers) +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

bool Peer::Fill(std::size_t atMost) {
  std::string buffer(atMost, '\0');
  const ssize_t got = recv(socket_, buffer.data(), buffer.size(), 0);
  if (got <= 0) return false;
  pending_.append(buffer, 0, static_cast<std::size_t>(got));
  return true;
}

std::string Peer::ReadHead() {
  std::size_t end;
  while ((end = pending_.find("\r\n\r\n")) == std::string::npos)
    if (!Fill(kReadSize)) return {};
  std::string head = pending_.substr(0, end + 4);
  pending_.erase(0, end + 4);
  return head;
}

std::string Peer::ReadRequest() {
  std::string request = ReadHead();
  if (request.empty()) return {};
  const auto at = request.find("Content-Length: ");
  const std::size_t length =
      at == std::string::npos ? 0 : std::strtoul(request.c_str() + at + 16, nullptr, 10);
  std::size_t zeros = 0;
  for (std::size_t left = length; left > 0;) {
    if (pending_.empty() && !Fill(std::min(left, kReadSize))) return {};
    const std::string_view piece = std::string_view(pending_).substr(0, left);
    left -= piece.size();
    if (server_.countsZeros_)
      zeros += AppendWithoutZeros(request, piece);
    else
      request += piece;
    pending_.erase(0, piece.size());
  }
  if (zeros > 0) request += "(" + std::to_string(zeros) + " zeros)";
  server_.Log(request);
  return request;
}

std::size_t Peer::Skip(std::size_t size) {
  std::size_t left = size;
  while (left > 0 && (!pending_.empty() || Fill(std::min(left, kReadSize)))) {
    const std::size_t step = std::min(left, pending_.size());
    pending_.erase(0, step);
    left -= step;
  }
  return size - left;
}

bool Peer::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool Peer::Pause(std::chrono::milliseconds time) {
  std::unique_lock lock(server_.lock_);
  return !server_.stopped_.wait_for(lock, time, [this] { return server_.stopping_; });
}

void Peer::WaitUntilClosed() {
  char buffer[4096];
  while (recv(socket_, buffer, sizeof buffer, 0) > 0) {
  }
}

void Peer::ResetAtEnd() {
  const linger now{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

SocketServer::SocketServer(Handler handler) : handler_(std::move(handler)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 64) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    throw std::runtime_error("no listening socket");
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { Accept(); });
}

SocketServer::~SocketServer() {
  {
    const std::lock_guard lock(lock_);
    stopping_ = true;
    for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
  }
  stopped_.notify_all();
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  for (std::thread& thread : threads_) thread.join();
  close(listener_);
}

void SocketServer::ReceiveLittleAtATime() {
  const int size = 65536;
  setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

void SocketServer::Accept() {
  for (;;) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    const std::lock_guard lock(lock_);
    if (stopping_) {
      close(socket);
      return;
    }
    sockets_.push_back(socket);
    threads_.emplace_back([this, socket, index = connections_++] {
      Peer peer(*this, socket, index);
      handler_(peer);
      const std::lock_guard closing(lock_);
      std::erase(sockets_, socket);
      close(socket);
      ++closed_;
    });
  }
}

void SocketServer::Log(std::string request) {
  const std::lock_guard lock(lock_);
  requests_.push_back(std::move(request));
}

std::string SocketServer::Url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

std::vector<std::string> SocketServer::Requests() const {
  const std::lock_guard lock(lock_);
  return requests_;
}

}  // namespace kelo
