// Commands and requests begin and end, and somebody may raise the signal at any moment of that.
#include "platform/AbortSignal.h"

#include <unistd.h>

namespace kelo {

AbortSignal::CommandScope::CommandScope(AbortSignal& signal) : signal_(signal) {
  if (signal_.scopes_++ > 0) return;
  signal_.thread_ = std::this_thread::get_id();
  signal_.process_ = getpid();
  ++signal_.command_;
}

AbortSignal::CommandScope::~CommandScope() {
  if (--signal_.scopes_ == 0) ++signal_.command_;
}

AbortSignal::RequestScope::RequestScope(AbortSignal& signal) : command_(signal), signal_(signal) {
  ++signal_.request_;
}

AbortSignal::RequestScope::~RequestScope() {
  ++signal_.request_;
  signal_.request_.notify_all();
}

void AbortSignal::Raise() {
  const uint64_t command = command_;
  if (command % 2 == 0) return;
  // Another abort may be for a later command already.
  uint64_t before = raisedFor_;
  while (before < command && !raisedFor_.compare_exchange_weak(before, command)) {
  }
  const uint32_t request = request_;
  const bool isOfTheCommand = request % 2 == 1 && command_ == command;
  if (!isOfTheCommand || thread_.load() == std::this_thread::get_id() || IsLeftUnfinished()) return;
  request_.wait(request);
}

bool AbortSignal::IsLeftUnfinished() const {
  return command_ % 2 == 1 && thread_.load() != std::this_thread::get_id() && process_ != getpid();
}

}  // namespace kelo
