// A line that has latency and a limited rate, on loopback: a SOCKS proxy that holds back what it
// carries.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kelo::bench {

// Carries both ways for any number of connections, on a thread of its own. A connection takes a
// round trip to be made. It carries so many bytes a second each way. A byte arrives `latency` after
// the line has taken it; the line takes no more than the receiver does, so that a sender feels the
// rate.
class Line {
 public:
  struct Terms {
    std::chrono::microseconds latency;
    std::uint64_t bytesPerSecond;
  };
  explicit Line(const Terms& terms);
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line();  // ends all connections

  // As libcurl and programs that use it name a proxy. It leads to any port of this machine.
  std::string Proxy() const;
  // What each connection's client has sent since the last call.
  std::vector<std::string> TakeSent();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kelo::bench
