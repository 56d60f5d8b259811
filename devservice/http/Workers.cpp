// Finished threads are joined when the next one starts.
#include "devservice/http/Workers.h"

namespace kelo::devservice {

void Workers::Start(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  JoinFinished();
  threads_.emplace_back();
  const auto self = std::prev(threads_.end());
  *self = std::thread([this, self, work = std::move(work)] {
    work();
    const std::lock_guard finishedLock(mutex_);
    finished_.push_back(self);
  });
}

void Workers::Join() {
  std::unique_lock lock(mutex_);
  std::list<std::thread> threads = std::move(threads_);
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
