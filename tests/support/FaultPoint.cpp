// System calls that fail when a test wants it, and otherwise do what the system's do.
#include "support/FaultPoint.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <string_view>

#include "KELOAccess.h"
#include "support/Interposed.h"

namespace kelo {
namespace {

// Trivial, so that reading it from inside malloc needs no initialisation.
struct State {
  FaultPoint point;
  FaultReport report;
  bool inCommand;
  void* callers[32];
  int callerCount;
};
thread_local State state;
thread_local char lastOpened[256];
std::atomic<bool> hollow = false;

// Whether the call that is about to be made fails, and with which of its errors.
bool Fails(CallKind kind, const char* call, std::span<const int> errors) {
  if (!state.inCommand || kind != state.point.kind) return false;
  const unsigned n = ++state.report.calls;
  if (n < state.report.interruptible.size() && errors[0] == EINTR)
    state.report.interruptible[n] = call;
  if (n != state.point.n) return false;
  state.inCommand = false;  // taking the callers may allocate
  if (state.point.tellsCallers)
    state.callerCount = backtrace(state.callers, static_cast<int>(std::size(state.callers)));
  state.inCommand = true;
  state.report.call = call;
  state.report.error = errors[state.point.variant % errors.size()];
  errno = state.report.error;
  return true;
}

template <typename... Errors>
bool FailsToCall(const char* call, Errors... errors) {
  const int list[] = {errors...};
  return Fails(CallKind::SystemCall, call, list);
}

bool IsRegular(int fd) {
  struct stat status;
  return fstatat(fd, "", &status, AT_EMPTY_PATH) == 0 && S_ISREG(status.st_mode);
}

bool AreZeros(const void* data, size_t size) {
  const char* const bytes = static_cast<const char*>(data);
  return size > 0 && bytes[0] == 0 && memcmp(bytes, bytes + 1, size - 1) == 0;
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void SetFault(const FaultPoint& point) {
  state.point = point;
  state.report = {};
}

FaultReport TakeFault() {
  state.point = {};
  return state.report;
}

bool FailsToAllocate(const char* call) {
  static constexpr std::array kErrors{ENOMEM};
  return Fails(CallKind::Allocation, call, kErrors);
}

bool FailsAt(const FaultPoint& point, const std::function<void()>& work) {
  SetFault(point);
  state.point.tellsCallers = false;  // which takes time
  state.inCommand = true;
  try {
    work();
  } catch (const std::bad_alloc&) {
  }
  state.inCommand = false;
  return TakeFault().Failed();
}

std::atomic<FailingCall*> FailingCall::last = nullptr;

FailingCall::FailingCall(const char* name, int error, size_t bytesBefore)
    : name_(name), error_(error), bytesLeft_(bytesBefore) {
  last = this;
}

FailingCall::~FailingCall() {
  last = before_;
}

bool FailingCall::Fails(const char* name, size_t size) {
  for (FailingCall* call = last; call != nullptr; call = call->before_) {
    const std::string_view called(name);
    if (called.substr(0, called.find("64")) != call->name_) continue;
    if (size > 0 && call->bytesLeft_ >= size) {
      call->bytesLeft_ -= size;
      continue;
    }
    errno = call->error_;
    return true;
  }
  return false;
}

HollowFiles::HollowFiles() {
  hollow = true;
}

HollowFiles::~HollowFiles() {
  hollow = false;
}

std::string LastOpened() {
  return lastOpened;
}

void PrintCallers() {
  backtrace_symbols_fd(state.callers, state.callerCount, STDERR_FILENO);
}

}  // namespace kelo

using namespace kelo;

// The linker leads the torture's commands here.
extern "C" __attribute__((weak)) uint32_t __real_KELOAccessCommand(uint32_t code,
                                                                   tagCommandControlInfo* info);
extern "C" uint32_t __wrap_KELOAccessCommand(uint32_t code, tagCommandControlInfo* info) {
  state.inCommand = true;
  const uint32_t result = __real_KELOAccessCommand(code, info);
  state.inCommand = false;
  return result;
}

extern "C" __attribute__((weak)) uint32_t __real_KELOAccessInitialize(uint32_t parameter);
extern "C" uint32_t __wrap_KELOAccessInitialize(uint32_t parameter) {
  state.inCommand = true;
  const uint32_t result = __real_KELOAccessInitialize(parameter);
  state.inCommand = false;
  return result;
}

// The words of the arguments, six at most, pass through as they are, whatever their types.
#define KELO_CALL(name, ...)                                                            \
  KELO_INTERPOSED(long, name, (long a, long b, long c, long d, long e, long f)) {       \
    if (FailingCall::Fails(#name)) return -1;                                           \
    if (FailsToCall(#name, __VA_ARGS__)) return -1;                                     \
    static const auto next = Next<long (*)(long, long, long, long, long, long)>(#name); \
    return next(a, b, c, d, e, f);                                                      \
  }

KELO_CALL(read, EINTR, EIO)
KELO_CALL(pread64, EINTR, EIO)
KELO_CALL(open, EINTR, EMFILE, EIO, ENOSPC)
KELO_CALL(open64, EINTR, EMFILE, EIO, ENOSPC)
KELO_CALL(stat, EIO, ENOMEM)
KELO_CALL(stat64, EIO, ENOMEM)
KELO_CALL(fstat, EIO)
KELO_CALL(fstat64, EIO)
KELO_CALL(fstatat, EIO, ENOMEM)
KELO_CALL(fstatat64, EIO, ENOMEM)
KELO_CALL(access, EIO)
KELO_CALL(linkat, EIO, ENOSPC)
KELO_CALL(unlink, EIO)
KELO_CALL(unlinkat, EIO)
KELO_CALL(fcntl, ENOMEM)
KELO_CALL(fcntl64, ENOMEM)
KELO_CALL(ioctl, EIO)
KELO_CALL(socket, EMFILE, ENOMEM)
KELO_CALL(socketpair, EMFILE, ENOMEM)
KELO_CALL(eventfd, EMFILE)
KELO_CALL(connect, ECONNREFUSED, ENETUNREACH)
KELO_CALL(getsockname, ENOBUFS)
KELO_CALL(getpeername, ENOTCONN)
KELO_CALL(getsockopt, ENOBUFS)
KELO_CALL(setsockopt, ENOBUFS)
KELO_CALL(send, EINTR, ECONNRESET, EPIPE)
KELO_CALL(sendto, EINTR, ECONNRESET)
KELO_CALL(recv, EINTR, ECONNRESET)
KELO_CALL(poll, EINTR, ENOMEM)

KELO_INTERPOSED(ssize_t, write, (int fd, const void* data, size_t size)) {
  if (hollow && IsRegular(fd) && AreZeros(data, size)) {
    const bool made = ftruncate(fd, lseek(fd, static_cast<off_t>(size), SEEK_CUR)) == 0;
    return made ? static_cast<ssize_t>(size) : -1;
  }
  if (IsRegular(fd) && FailingCall::Fails("write", size)) return -1;
  if (FailsToCall("write", EINTR, ENOSPC, EIO)) return -1;
  static const auto next = Next<ssize_t (*)(int, const void*, size_t)>("write");
  return next(fd, data, size);
}

#define KELO_OPENAT(name)                                                               \
  KELO_INTERPOSED(long, name, (long folder, const char* path, long flags, long mode)) { \
    strncpy(lastOpened, path, sizeof lastOpened - 1);                                   \
    const bool isNameless = (flags & O_TMPFILE) == O_TMPFILE;                           \
    if (isNameless && FailingCall::Fails(#name)) return -1;                             \
    if (FailsToCall(#name, EINTR, EMFILE, EIO, ENOSPC)) return -1;                      \
    static const auto next = Next<long (*)(long, const char*, long, long)>(#name);      \
    return next(folder, path, flags, mode);                                             \
  }
KELO_OPENAT(openat)
KELO_OPENAT(openat64)

// After its failure the descriptor is gone all the same.
KELO_INTERPOSED(int, close, (int fd)) {
  static const auto next = Next<int (*)(int)>("close");
  const bool fails = FailingCall::Fails("close") && IsRegular(fd);
  if (!fails && !FailsToCall("close", EINTR, EIO)) return next(fd);
  const int error = errno;
  next(fd);
  errno = error;
  return -1;
}
