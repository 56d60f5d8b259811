// Connections between two requests. One thread watches all of them, so that a client which keeps
// its connection and sends nothing costs a descriptor only.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "devservice/files/Descriptor.h"

namespace kelo::devservice {

// Thread-safe. Owns the sockets while they are here.
class IdleConnections {
 public:
  // Called on the watching thread with a socket that has something to read, and is the caller's
  // from then on. Those that the peer closed, and those idle for too long, are closed here.
  using Wake = std::function<void(int socket)>;

  explicit IdleConnections(Wake wake);
  ~IdleConnections();  // closes what is left
  IdleConnections(const IdleConnections&) = delete;
  IdleConnections& operator=(const IdleConnections&) = delete;

  void Add(int socket);
  void Stop();  // no Wake is called afterwards

 private:
  using Clock = std::chrono::steady_clock;

  void Watch();
  bool Take(int socket);
  void CloseExpired();

  Wake wake_;
  Descriptor poll_;
  Descriptor stop_;
  std::mutex mutex_;
  std::map<int, Clock::time_point> since_;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace kelo::devservice
