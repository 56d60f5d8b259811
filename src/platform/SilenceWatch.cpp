// Decides when a transfer has been silent for too long.
#include "platform/SilenceWatch.h"

namespace kelo {
namespace {

constexpr uint64_t kDigestionPerGiB = 180'000;  // milliseconds

}  // namespace

bool SilenceWatch::IsTooLong(const Movement& movement, bool bodyHasLeft) {
  const auto now = Clock::now();
  if (movement != movement_) {
    movement_ = movement;
    lastMovement_ = now;
    return false;
  }
  uint64_t allowed = timeout_ * uint64_t{1000};
  if (bodyHasLeft && movement.received == 0)
    allowed += (bodyLength_ >> 10) * kDigestionPerGiB >> 20;
  return now - lastMovement_ >= std::chrono::milliseconds(allowed);
}

}  // namespace kelo
