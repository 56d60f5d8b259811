// The watch over a transfer's silence: a time-out counts the time in which nothing moves, whichever
// way, and never the length of a transfer.
#pragma once

#include <chrono>
#include <cstdint>

namespace kelo {

// How far the bytes of a transfer have come.
struct Movement {
  int64_t sent = 0;
  int64_t received = 0;
  int queued = 0;  // bytes the system still holds; on a slow line that may be a minute's worth
  bool operator==(const Movement&) const = default;
};

// Made anew for each hop of a request. One thread.
class SilenceWatch {
 public:
  // `timeout` in seconds; `bodyLength` in bytes.
  SilenceWatch(uint32_t timeout, uint64_t bodyLength)
      : timeout_(timeout), bodyLength_(bodyLength) {}

  // Something moved that the counters don't show: a handshake, half a header line.
  void Moved() { lastMovement_ = Clock::now(); }
  // Whether the silence has lasted too long. `bodyHasLeft`: the last byte of a body was handed on;
  // the peer may then digest it for 180 s more for each GiB.
  bool IsTooLong(const Movement& movement, bool bodyHasLeft);

 private:
  using Clock = std::chrono::steady_clock;

  uint32_t timeout_;
  uint64_t bodyLength_;
  Movement movement_;
  Clock::time_point lastMovement_ = Clock::now();
};

}  // namespace kelo
