// A raw connection to the service, for what no HTTP client would do.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

#include "devservice/DevService.h"
#include "devservice/files/Descriptor.h"

namespace kelo::devservice {

class Peer {
 public:
  explicit Peer(const Service& service) : Peer(service.Url()) {}
  explicit Peer(const std::string& url)
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit{60, 0};
    setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(std::atoi(url.c_str() + url.rfind(':') + 1)));
    connected_ = connect(socket_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }

  bool Connected() const { return connected_; }

  // False where the service has left.
  bool Send(std::string_view bytes) const {
    return send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }

  // Whether the service has closed.
  bool Ended() const {
    char byte;
    const ssize_t size = recv(socket_.Get(), &byte, 1, 0);
    return size == 0 || (size < 0 && errno == ECONNRESET);
  }
  // Nothing more is sent.
  void Finish() const { shutdown(socket_.Get(), SHUT_WR); }

  // What has come when the service closes, or until `end` has come.
  std::string Receive(std::string_view end = {}) const {
    std::string received;
    char bytes[4096];
    while (end.empty() || received.find(end) == std::string::npos) {
      const ssize_t size = recv(socket_.Get(), bytes, sizeof bytes, 0);
      if (size <= 0) break;
      received.append(bytes, static_cast<std::size_t>(size));
    }
    return received;
  }

 private:
  Descriptor socket_;
  bool connected_ = false;
};

}  // namespace kelo::devservice
