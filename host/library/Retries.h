// What a command's failure means for sending it once more: one table of causes and one of commands,
// the same for all. Nothing else in this program decides that.
#pragma once

#include <chrono>
#include <cstdint>

#include "host/library/Requests.h"

namespace kelo::host {

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

// Whether a result leaves open what became of the command.
bool IsUnclear(std::uint32_t result);

// Whether the command asks the service whatever it is given.
bool AlwaysAsks(std::uint32_t command);

// How often one command has failed in which way.
struct Tries {
  unsigned failed = 0;
  unsigned callIdsTaken = 0;
};

// A call id is a time in milliseconds, and two programs on one session may use the same. A program
// that sends more than one request a millisecond, to a service near by, uses up the ids of the
// seconds to come as well.
constexpr unsigned kMaxCallIdsTaken = 60;
// Longer each time, 23 s in all, and not the same for all, so that two programs do not meet again;
// `taken` is at least 1.
std::chrono::milliseconds PauseAfterTakenCallIds(unsigned taken);

// 0.25, 0.75, 2.3 s and so on, at most 30 s; `failed` is at least 1.
std::chrono::milliseconds PauseAfterFailures(unsigned failed);

}  // namespace kelo::host
