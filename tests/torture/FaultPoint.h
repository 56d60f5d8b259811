// The n-th allocation or system call of one command, or of KELOAccessInitialize, fails. This
// program's allocation functions and system calls stand before the system's, also for the libraries
// underneath; they count and fail only while a command runs, and only on its thread.
#pragma once

#include <array>
#include <string>

namespace kelo::testing {

enum class CallKind { Allocation, SystemCall };

struct FaultPoint {
  CallKind kind = CallKind::Allocation;
  unsigned n = 0;        // counted from 1; 0 fails none
  unsigned variant = 0;  // which of the call's errors
};

// What became of the point that was set.
struct FaultReport {
  unsigned calls = 0;          // of the kind, during the command
  const char* call = nullptr;  // the one that failed, if any
  int error = 0;               // its errno
  // The names of those calls that may be interrupted, by their n; null for all others. Their first
  // error is EINTR.
  std::array<const char*, 500> interruptible{};
  bool Failed() const { return call != nullptr; }
};

// The next command of this thread meets the point.
void SetFault(const FaultPoint& point);
// From here on this thread meets it without a command, until its next one ends.
void MeetFault();
// What the last command met. Nothing fails from here on.
FaultReport TakeFault();
// The path that the library has last tried to open on this thread.
std::string LastOpened();
// Where the last failure was, as the addresses of its callers, to standard error.
void PrintCallers();

}  // namespace kelo::testing
