// Answers the requests of the transport benchmarks with one thread and one buffer.
#include "http/SinkServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace kelo::bench {
namespace {

constexpr std::size_t kBufferSize = 262144;

std::vector<char>& Buffer() {
  static std::vector<char> buffer(kBufferSize, 'x');
  return buffer;
}

bool SendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

}  // namespace

SinkServer::SinkServer(std::size_t fileSize) : fileSize_(fileSize) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 16) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    std::abort();
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Accept(); });
}

SinkServer::~SinkServer() {
  stopping_ = true;
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

std::string SinkServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void SinkServer::Accept() {
  std::vector<std::thread> connections;
  for (int socket; (socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    const int now = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &now, sizeof now);
    connections.emplace_back([this, socket] {
      Serve(socket);
      close(socket);
    });
  }
  for (std::thread& connection : connections) connection.join();
}

void SinkServer::Serve(int socket) {
  std::vector<char> buffer(kBufferSize);
  std::string head;
  std::size_t bodyLeft = 0;
  while (!stopping_) {
    pollfd readable{socket, POLLIN, 0};
    if (poll(&readable, 1, 100) == 0) continue;
    const ssize_t got = recv(socket, buffer.data(), buffer.size(), 0);
    if (got <= 0) return;
    std::size_t count = static_cast<std::size_t>(got);
    if (bodyLeft == 0) {
      head.append(buffer.data(), count);
      const auto end = head.find("\r\n\r\n");
      if (end == std::string::npos) continue;
      const auto length = head.find("Content-Length: ");
      if (length < end) bodyLeft = std::strtoul(head.c_str() + length + 16, nullptr, 10);
      count = head.size() - end - 4;
      head.resize(end);
      ++requests_;
    }
    bodyLeft -= std::min(bodyLeft, count);
    if (bodyLeft > 0) continue;
    if (!Answer(socket, head)) return;
    head.clear();
  }
}

bool SinkServer::Answer(int socket, const std::string& head) {
  const auto asks = [&](std::string_view path) { return head.find(path) != std::string::npos; };
  if (asks(" /silent")) return true;
  if (asks(" /slow")) {
    bool open = SendAll(socket, "HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    while (open && !stopping_ && SendAll(socket, "x")) usleep(20000);
    return false;
  }
  const std::size_t size = asks(" /file") ? fileSize_ : 2;
  if (!SendAll(socket, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n"))
    return false;
  for (std::size_t left = size; left > 0;) {
    const std::size_t step = std::min(left, kBufferSize);
    if (!SendAll(socket, std::string_view(Buffer().data(), step))) return false;
    left -= step;
  }
  return true;
}

}  // namespace kelo::bench
