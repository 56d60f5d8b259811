// Commands and requests begin and end, and somebody may raise the signal at any moment of that.
#include "http/AbortSignal.h"

#include "platform/URLLoading.h"

namespace kelo {

AbortSignal::CommandScope::CommandScope(AbortSignal& signal) : signal_(signal) {
  const std::lock_guard lock(signal_.lock_);
  if (signal_.scopes_++ == 0) signal_.thread_ = std::this_thread::get_id();
}

AbortSignal::CommandScope::~CommandScope() {
  const std::lock_guard lock(signal_.lock_);
  if (--signal_.scopes_ == 0) signal_.raised_ = false;  // it was for this command, not the next
}

AbortSignal::RequestScope::RequestScope(AbortSignal& signal, URLLoader& loader)
    : command_(signal), signal_(signal) {
  const std::lock_guard lock(signal_.lock_);
  signal_.loader_ = &loader;
}

AbortSignal::RequestScope::~RequestScope() {
  const std::lock_guard lock(signal_.lock_);
  signal_.loader_ = nullptr;
  ++signal_.requestsEnded_;
  signal_.requestEnded_.notify_all();
}

void AbortSignal::Raise() {
  std::unique_lock lock(lock_);
  if (scopes_ == 0) return;
  raised_ = true;
  if (loader_ == nullptr || thread_ == std::this_thread::get_id()) return;
  loader_->WakeUp();
  const uint64_t ended = requestsEnded_;
  requestEnded_.wait(lock, [&] { return requestsEnded_ != ended; });
}

}  // namespace kelo
