// Keeps the call ids of several processes on one session apart. The library makes an id of the
// clock's millisecond. The service refuses one that was used before, and an upload that it refuses
// has come whole by then.
#pragma once

#include <atomic>
#include <cstdint>

namespace kelo::host {

// Shared by the process that makes it and all that are forked later.
class Moments {
 public:
  Moments();
  ~Moments();
  Moments(const Moments&) = delete;
  Moments& operator=(const Moments&) = delete;

  // Waits for a moment of its own: that of any other process is some milliseconds away.
  void Await() const;

 private:
  std::atomic<std::int64_t>* last_;  // that was given, of the steady clock; null: nobody waits
};

}  // namespace kelo::host
