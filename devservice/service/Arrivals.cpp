// Keeps the last requests, wakes those who wait for one, and asks the script unlocked.
#include "devservice/service/Arrivals.h"

#include <algorithm>

namespace kelo::devservice {

void Arrivals::Add(const ClientRequest& request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(request);
  if (request.bodySize > kMaxBody) requests_.back().body.clear();
  ++count_;
  while (requests_.size() > limit_) requests_.pop_front();
  added_.notify_all();
}

std::vector<ClientRequest> Arrivals::All() const {
  const std::lock_guard lock(mutex_);
  return {requests_.begin(), requests_.end()};
}

void Arrivals::Clear() {
  const std::lock_guard lock(mutex_);
  requests_.clear();
  count_ = 0;
}

size_t Arrivals::Count() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

bool Arrivals::WaitFor(const std::function<bool(const ClientRequest&)>& predicate,
                       std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return added_.wait_for(lock, timeout, [&] { return std::ranges::any_of(requests_, predicate); });
}

void Arrivals::SetScript(Script script) {
  const std::lock_guard lock(mutex_);
  script_ = std::move(script);
}

bool Arrivals::HasScript() const {
  const std::lock_guard lock(mutex_);
  return script_ != nullptr;
}

std::optional<Reply> Arrivals::AskScript(const ClientRequest& request) noexcept {
  std::unique_lock lock(mutex_);
  const Script copy = script_;
  if (!copy) return std::nullopt;
  lock.unlock();
  auto reply = copy(request);
  lock.lock();  // orders what the script did before whatever the service is asked afterwards
  return reply;
}

}  // namespace kelo::devservice
