// Gives out moments by a number in memory that processes share.
#include "host/library/Moments.h"

#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>

namespace kelo::host {
namespace {

using Last = std::atomic<std::int64_t>;
static_assert(Last::is_always_lock_free);  // or processes could not share it
using Clock = std::chrono::steady_clock;

// More than a millisecond, since an upload has a second id: its check may be answered somewhat
// earlier or later than that of the upload before. Not much more, since small requests would wait.
constexpr Clock::duration kApart = std::chrono::milliseconds(5);

}  // namespace

Moments::Moments() : last_(nullptr) {
  void* const memory =
      ::mmap(nullptr, sizeof(Last), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory != MAP_FAILED) last_ = new (memory) Last(0);
}

Moments::~Moments() {
  if (last_ != nullptr) ::munmap(last_, sizeof(Last));
}

void Moments::Await() const {
  if (last_ == nullptr) return;
  const std::int64_t now = Clock::now().time_since_epoch().count();
  std::int64_t last = *last_;
  std::int64_t mine = 0;
  do mine = std::max(now, last + kApart.count());
  while (!last_->compare_exchange_weak(last, mine));
  if (mine > now) std::this_thread::sleep_until(Clock::time_point(Clock::duration(mine)));
}

}  // namespace kelo::host
