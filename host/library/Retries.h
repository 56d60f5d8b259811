// How often and for how long a run tries again, and what a command's failure means for sending it
// once more: one table of causes and one of commands, the same for all. Library.cpp adds two
// causes: a name that was never found, and a request that was ended because it was silent. An
// upload that has left goes on in upload/Send.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/library/Requests.h"

namespace kelo::host {

struct Persistence {
  std::optional<unsigned> retries{};  // none: as many as the time allows
  // So long may nothing answer; none: as long as fits the run.
  std::optional<std::chrono::milliseconds> giveUpAfter{};
  // A run that may take hours goes on through an outage, and its requests may be silent as long as
  // the library allows. In any other one a person waits: a request that is silent is ended.
  bool isLong = false;
  bool verbose = false;  // shows the requests on standard error

  std::chrono::milliseconds Patience() const {
    return giveUpAfter.value_or(isLong ? std::chrono::minutes(5) : std::chrono::seconds(20));
  }
};

enum class Trouble {
  kNone,             // success, or a failure that would come again
  kMayPass,          // nothing was done, or doing it twice comes to the same
  kMayHaveBeenDone,  // may pass too, but what was sent must not be done twice
  kCallIdTaken,      // refused unread: another program used the same call id on this session
  kSessionEnded
};

// `last` is the last request of the command that answered `result`. One that the trace did not tell
// has no cause, and is judged by its result as if all of it had left.
Trouble Judge(std::uint32_t command, std::uint32_t result, const TraceLine& last);

// Whether the result does not say if the command was done.
bool IsUnclear(std::uint32_t result);

// Whether the command always sends a request.
bool AlwaysAsks(std::uint32_t command);

// How often one command has failed in which way.
struct Tries {
  unsigned failed = 0;
  unsigned callIdsTaken = 0;
};

// Call ids are milliseconds. Programs on one session sometimes choose the same. One with more than
// a request a millisecond also uses up those of the next seconds.
constexpr unsigned kMaxCallIdsTaken = 60;
// Random, so that two programs do not meet again, and longer each time: 1 ms at first, 21 s in all
// on average. `taken` is at least 1.
std::chrono::milliseconds PauseAfterTakenCallIds(unsigned taken);

// A session that has ended so often without an answer in between is not opened again.
constexpr unsigned kMaxReopened = 2;

// So often is a failed command sent again before the service is asked whether it is there at all.
constexpr unsigned kBlindTries = 3;
// 0.25, 0.75, 2.3 s and so on, at most 5 s and an eighth of the patience; `failed` is at least 1.
std::chrono::milliseconds PauseAfterFailures(unsigned failed, std::chrono::milliseconds patience);

}  // namespace kelo::host
