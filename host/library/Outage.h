// Since when nothing has answered, whether that has lasted too long, and what to say of it then.
// Any thread.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "host/library/Requests.h"

namespace kelo::host {

class Outage {
 public:
  using Clock = std::chrono::steady_clock;

  // It has lasted too long after `patience`.
  explicit Outage(std::chrono::milliseconds patience) : patience_(patience) {}

  // Nothing has answered since then; what began before counts.
  void Began(Clock::time_point since);
  // Something has answered. Whether an outage ended by that.
  bool Answered();
  std::optional<Clock::time_point> Since() const;
  std::chrono::milliseconds Patience() const { return patience_; }
  // Until it has lasted too long; all of the patience where there is none.
  std::chrono::milliseconds Left() const;

  void GiveUp();
  // The last request failed by this; a proxy is named if it is the one that failed.
  void Blame(const TraceLine& request);
  void Explain(std::string words);  // words of a worker
  // Why it was given up, and which proxy fails; empty: neither.
  std::string Explanation() const;

 private:
  const std::chrono::milliseconds patience_;
  mutable std::mutex mutex_;
  std::optional<Clock::time_point> since_;
  std::string gaveUp_;
  std::string proxy_;
};

}  // namespace kelo::host
