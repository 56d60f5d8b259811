// What a test sees and says of the requests that arrive: the last of them, and scripts that answer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "devservice/DevService.h"

namespace kelo::devservice {

// Thread-safe. What each member does is described in DevService.h.
class Arrivals {
 public:
  static constexpr size_t kMaxBody = 1 << 20;  // longer bodies are left out

  explicit Arrivals(size_t limit) : limit_(limit) {}  // older requests leave

  void Add(const ClientRequest& request);
  std::vector<ClientRequest> All() const;
  void Clear();
  size_t Count() const;
  bool WaitFor(const std::function<bool(const ClientRequest&)>& predicate,
               std::chrono::milliseconds timeout) const;

  void SetScript(Script script);
  bool HasScript() const;
  std::optional<Reply> AskScript(const ClientRequest& request) noexcept;

 private:
  const size_t limit_;
  mutable std::mutex mutex_;  // guards what follows
  mutable std::condition_variable added_;
  std::deque<ClientRequest> requests_;
  size_t count_ = 0;
  Script script_;
};

}  // namespace kelo::devservice
