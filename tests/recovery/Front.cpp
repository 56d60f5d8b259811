#include "recovery/Front.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <utility>

namespace kelo::testing {

Front::Front(int servicePort)
    : servicePort_(servicePort), server_([this](Peer& peer) { Serve(peer); }) {}

void Front::Break(Fault fault, int good) {
  const std::lock_guard lock(lock_);
  fault_ = std::move(fault);
  good_ = good;
  requests_ = 0;
}

bool Front::WaitForRequests(size_t count) {
  std::unique_lock lock(lock_);
  return assigned_.wait_for(lock, std::chrono::seconds(10), [&] { return requests_ >= count; });
}

void Front::Serve(Peer& peer) {
  ++open_;
  for (;;) {
    const std::string request = peer.ReadRequest();
    if (request.empty()) break;
    const Fault fault = FaultOfNextRequest();
    if (!(fault ? fault(peer) : peer.Send(AskService(request)))) break;
  }
  --open_;
}

Front::Fault Front::FaultOfNextRequest() {
  const std::lock_guard lock(lock_);
  ++requests_;
  assigned_.notify_all();
  return good_-- > 0 ? nullptr : fault_;
}

// Over a connection of its own, whose end is that of the answer.
std::string Front::AskService(std::string request) const {
  request.insert(request.find("\r\n") + 2, "Connection: close\r\n");
  const int service = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(servicePort_));
  std::string answer;
  if (connect(service, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      send(service, request.data(), request.size(), MSG_NOSIGNAL) ==
          static_cast<ssize_t>(request.size())) {
    char buffer[65536];
    ssize_t got;
    while ((got = recv(service, buffer, sizeof buffer, 0)) > 0)
      answer.append(buffer, static_cast<size_t>(got));
  }
  close(service);
  return answer;
}

}  // namespace kelo::testing
