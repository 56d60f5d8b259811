// Looks at the connections of this process a few times a second.
#include "host/library/Stillness.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <filesystem>
#include <utility>

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr auto kLook = std::chrono::milliseconds(200);

// The bytes that connections of this process have received, and those that arrived at the other
// end; nothing where the system does not tell. Linux's: TCP_INFO, /proc/self/fd.
std::optional<std::uint64_t> BytesMoved() {
  std::uint64_t moved = 0;
  std::error_code failed;
  fs::directory_iterator descriptors("/proc/self/fd", failed);
  for (; !failed && descriptors != fs::directory_iterator(); descriptors.increment(failed)) {
    tcp_info told{};
    socklen_t size = sizeof told;
    const int descriptor = std::atoi(descriptors->path().filename().c_str());
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &told, &size) != 0) continue;
    if (size < offsetof(tcp_info, tcpi_bytes_received) + sizeof told.tcpi_bytes_received)
      return std::nullopt;
    moved += told.tcpi_bytes_received + told.tcpi_bytes_acked;
  }
  return failed ? std::nullopt : std::optional(moved);
}

}  // namespace

Stillness::Stillness(std::function<void()> end)
    : end_(std::move(end)), thread_([this] { Watch(); }) {}

Stillness::~Stillness() {
  {
    const std::lock_guard lock(mutex_);
    closing_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

Stillness::Watched::Watched(Stillness& stillness, std::chrono::milliseconds limit)
    : stillness_(stillness) {
  const std::lock_guard lock(stillness_.mutex_);
  stillness_.limit_ = limit;
  stillness_.ended_ = false;
  stillness_.since_ = Clock::now();
  stillness_.wake_.notify_all();
}

Stillness::Watched::~Watched() {
  const std::lock_guard lock(stillness_.mutex_);
  stillness_.limit_.reset();
}

bool Stillness::Watched::WasEnded() const {
  const std::lock_guard lock(stillness_.mutex_);
  return stillness_.ended_;
}

bool Stillness::IsTooLong() {
  // The abort may have come before the command began: it is repeated.
  if (!limit_ || ended_) return limit_.has_value();
  const auto moved = BytesMoved();
  // A connection that was closed makes it less; that, too, was no stillness.
  if (!moved || std::exchange(moved_, *moved) != *moved) since_ = Clock::now();
  return Clock::now() - since_ >= *limit_;
}

void Stillness::Watch() {
  std::unique_lock lock(mutex_);
  while (!wake_.wait_for(lock, kLook, [this] { return closing_; })) {
    wake_.wait(lock, [this] { return closing_ || limit_; });
    if (!IsTooLong()) continue;
    ended_ = true;
    lock.unlock();
    end_();
    lock.lock();
  }
}

}  // namespace kelo::host
