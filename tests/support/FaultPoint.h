// Allocations and system calls that fail when a test wants it. This program's own stand before the
// system's, also for the libraries underneath.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>

namespace kelo {

enum class CallKind { Allocation, SystemCall };

struct FaultPoint {
  CallKind kind = CallKind::Allocation;
  unsigned n = 0;        // counted from 1; 0 fails none
  unsigned variant = 0;  // which of the call's errors
  bool tellsCallers = true;
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

// The n-th call fails of the next command of this thread, or of KELOAccessInitialize. They count
// only while it runs, and only on its thread.
void SetFault(const FaultPoint& point);
// What the last command met. Nothing fails from here on.
FaultReport TakeFault();
// Likewise of `work`, which std::bad_alloc may end; whether there was an n-th call.
bool FailsAt(const FaultPoint& point, const std::function<void()>& work);
// The path that the library has last tried to open on this thread.
std::string LastOpened();
// Where the last failure was, as the addresses of its callers, to standard error.
void PrintCallers();

// While one lives, a call fails, on every thread: "write" of regular files once so many bytes were
// written, "close" of these, "openat" of files without a name, "linkat", "fstat".
class FailingCall {
 public:
  FailingCall(const char* name, int error, size_t bytesBefore = 0);
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();

  // Whether this call, of so many bytes, fails; sets errno.
  static bool Fails(const char* name, size_t size = 0);

 private:
  static std::atomic<FailingCall*> last;

  const char* const name_;
  const int error_;
  std::atomic<size_t> bytesLeft_;
  FailingCall* const before_ = last;
};

// While one lives, zeros written to regular files become holes, which take no space.
struct HollowFiles {
  HollowFiles();
  HollowFiles(const HollowFiles&) = delete;
  HollowFiles& operator=(const HollowFiles&) = delete;
  ~HollowFiles();
};

}  // namespace kelo
