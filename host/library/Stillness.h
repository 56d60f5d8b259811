// Ends a command during which no byte has moved for too long. What moves is told by the connections
// of this process, so an answer of any length may come as slowly as it likes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace kelo::host {

class Stillness {
 public:
  // `end` is called by a thread of this object, and returns when the command has ended.
  explicit Stillness(std::function<void()> end);
  ~Stillness();
  Stillness(const Stillness&) = delete;
  Stillness& operator=(const Stillness&) = delete;

  // While one lives, a command runs that is ended after so long without a byte.
  class Watched {
   public:
    Watched(Stillness& stillness, std::chrono::milliseconds limit);
    ~Watched();
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    bool WasEnded() const;

   private:
    Stillness& stillness_;
  };

 private:
  using Clock = std::chrono::steady_clock;

  void Watch();
  bool IsTooLong();  // the lock is held

  const std::function<void()> end_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  bool closing_ = false;
  std::optional<std::chrono::milliseconds> limit_;  // none: no command runs
  bool ended_ = false;
  std::uint64_t moved_ = 0;
  Clock::time_point since_{};
  std::thread thread_;
};

}  // namespace kelo::host
