// Keeps bytes to a rate, whatever the pauses and the transfers between them really take.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace kelo::devservice {

class Pace {
 public:
  using Clock = std::chrono::steady_clock;

  // Bytes a second from now on; 0 means as fast as they come.
  explicit Pace(std::uint64_t bytesPerSecond, Clock::time_point start = Clock::now())
      : rate_(bytesPerSecond), start_(start) {}

  // How many of `left` bytes to move at once; at least one.
  std::uint64_t Piece(std::uint64_t left) const {
    return rate_ == 0 ? left : std::min(left, std::max<std::uint64_t>(rate_ / kPiecesPerSecond, 1));
  }

  // Counts so many bytes more; when the last of them is due: byte n at n / rate.
  Clock::time_point After(std::uint64_t bytes) {
    if (rate_ == 0) return start_;
    passed_ += bytes;
    const std::chrono::duration<double> due(static_cast<double>(passed_) /
                                            static_cast<double>(rate_));
    return start_ + std::chrono::ceil<Clock::duration>(due);
  }

 private:
  static constexpr std::uint64_t kPiecesPerSecond = 50;

  std::uint64_t rate_;
  Clock::time_point start_;
  std::uint64_t passed_ = 0;
};

}  // namespace kelo::devservice
