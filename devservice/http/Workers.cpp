// Finished threads are joined when the next one starts.
#include "devservice/http/Workers.h"

#include <system_error>
#include <utility>

namespace kelo::devservice {
namespace {

// A stack takes 8 MiB of the addresses; where they have 32 bits, something must be left of them.
constexpr std::size_t kMaxThreads = sizeof(void*) < 8 ? 200 : 20'000;

}  // namespace

void Workers::Start(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  JoinFinished();
  waiting_.push_back(std::move(work));
  if (threads_.size() >= kMaxThreads) return;
  const auto self = threads_.emplace(threads_.end());
  try {
    *self = std::thread([this, self] { Run(self); });
  } catch (const std::system_error&) {
    threads_.erase(self);  // one of the others takes the work
  }
}

void Workers::Run(Threads::iterator self) {
  std::unique_lock lock(mutex_);
  while (!waiting_.empty()) {
    const std::function<void()> work = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    work();
    lock.lock();
  }
  finished_.push_back(self);
}

void Workers::Join() {
  std::unique_lock lock(mutex_);
  Threads threads = std::move(threads_);
  threads_.clear();
  lock.unlock();
  for (std::thread& thread : threads) thread.join();
}

void Workers::JoinFinished() {
  for (const auto thread : finished_) {
    thread->join();
    threads_.erase(thread);
  }
  finished_.clear();
}

}  // namespace kelo::devservice
