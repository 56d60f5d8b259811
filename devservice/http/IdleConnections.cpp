// Watching by epoll.
#include "devservice/http/IdleConnections.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace kelo::devservice {
namespace {

constexpr std::chrono::seconds kIdleLimit{300};
constexpr int kLookRoundMilliseconds = 10'000;

bool HasLeft(int socket) {
  char byte;
  const ssize_t seen = recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return seen == 0 || (seen < 0 && errno != EAGAIN && errno != EINTR);
}

bool WatchFor(int poll, int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN | EPOLLRDHUP;
  event.data.fd = descriptor;
  return epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

}  // namespace

IdleConnections::IdleConnections(Wake wake)
    : wake_(std::move(wake)), poll_(epoll_create1(EPOLL_CLOEXEC)), stop_(eventfd(0, EFD_CLOEXEC)) {
  if (poll_.Get() < 0 || stop_.Get() < 0 || !WatchFor(poll_.Get(), stop_.Get()))
    throw std::system_error(errno, std::generic_category(), "cannot watch connections");
  thread_ = std::thread([this] { Watch(); });
}

IdleConnections::~IdleConnections() {
  Stop();
  for (const auto& [socket, since] : since_) close(socket);
}

void IdleConnections::Add(int socket) {
  const std::lock_guard lock(mutex_);
  since_[socket] = Clock::now();
  if (WatchFor(poll_.Get(), socket)) return;
  since_.erase(socket);
  close(socket);
}

void IdleConnections::Stop() {
  if (stopping_.exchange(true)) return;
  eventfd_write(stop_.Get(), 1);
  thread_.join();
}

void IdleConnections::Watch() {
  std::array<epoll_event, 64> events;
  while (!stopping_) {
    const int ready = epoll_wait(poll_.Get(), events.data(), static_cast<int>(events.size()),
                                 kLookRoundMilliseconds);
    for (int i = 0; i < ready && !stopping_; ++i) {
      const int socket = events[static_cast<std::size_t>(i)].data.fd;
      if (!Take(socket)) continue;
      if (HasLeft(socket))
        close(socket);
      else
        wake_(socket);
    }
    CloseExpired();
  }
}

bool IdleConnections::Take(int socket) {
  const std::lock_guard lock(mutex_);
  if (since_.erase(socket) == 0) return false;
  epoll_ctl(poll_.Get(), EPOLL_CTL_DEL, socket, nullptr);
  return true;
}

void IdleConnections::CloseExpired() {
  const std::lock_guard lock(mutex_);
  std::erase_if(since_, [](const auto& idle) {
    const bool expired = Clock::now() - idle.second > kIdleLimit;
    if (expired) close(idle.first);  // which ends its watching too
    return expired;
  });
}

}  // namespace kelo::devservice
