#include "torture/FaultPoint.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>

#include "KELOAccess.h"

namespace kelo::testing {
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

// Whether the call that is about to be made fails, and with which of its errors.
bool Fails(CallKind kind, const char* call, std::span<const int> errors) {
  if (!state.inCommand || kind != state.point.kind) return false;
  const unsigned n = ++state.report.calls;
  if (n < state.report.interruptible.size() && errors[0] == EINTR)
    state.report.interruptible[n] = call;
  if (n != state.point.n) return false;
  state.inCommand = false;  // taking the callers may allocate
  state.callerCount = backtrace(state.callers, static_cast<int>(std::size(state.callers)));
  state.inCommand = true;
  state.report.call = call;
  state.report.error = errors[state.point.variant % errors.size()];
  errno = state.report.error;
  return true;
}

bool FailsToAllocate(const char* call) {
  static constexpr std::array kErrors{ENOMEM};
  return Fails(CallKind::Allocation, call, kErrors);
}

template <typename... Errors>
bool FailsToCall(const char* call, Errors... errors) {
  const int list[] = {errors...};
  return Fails(CallKind::SystemCall, call, list);
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

void MeetFault() {
  state.inCommand = true;
}

FaultReport TakeFault() {
  state.point = {};
  return state.report;
}

std::string LastOpened() {
  return lastOpened;
}

void PrintCallers() {
  backtrace_symbols_fd(state.callers, state.callerCount, STDERR_FILENO);
}

}  // namespace kelo::testing

using kelo::testing::FailsToAllocate;
using kelo::testing::FailsToCall;
using kelo::testing::Next;

// Defines `name` of the C library under a name of its own: what the headers say about it, and where
// they lead it to, is none of our business.
#define KELO_INTERPOSED(result, name, parameters)                                                \
  extern "C" __attribute__((visibility("default"))) result Torture_##name parameters asm(#name); \
  extern "C" result Torture_##name parameters

// The linker leads the tests' commands here.
extern "C" uint32_t __real_KELOAccessCommand(uint32_t code, tagCommandControlInfo* info);
extern "C" uint32_t __wrap_KELOAccessCommand(uint32_t code, tagCommandControlInfo* info) {
  kelo::testing::state.inCommand = true;
  const uint32_t result = __real_KELOAccessCommand(code, info);
  kelo::testing::state.inCommand = false;
  return result;
}

extern "C" uint32_t __real_KELOAccessInitialize(uint32_t parameter);
extern "C" uint32_t __wrap_KELOAccessInitialize(uint32_t parameter) {
  kelo::testing::state.inCommand = true;
  const uint32_t result = __real_KELOAccessInitialize(parameter);
  kelo::testing::state.inCommand = false;
  return result;
}

// The sanitizer knows the dynamic linker's memory by the caller of malloc, which is this file here.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:_dl_map_object_deps\nleak:dl_open_worker\n";
}

// ---- Allocation. Under the address sanitizer its own functions are the next ones. ----

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
__attribute__((weak)) void* __interceptor_malloc(size_t size);
__attribute__((weak)) void* __interceptor_calloc(size_t count, size_t size);
__attribute__((weak)) void* __interceptor_realloc(void* block, size_t size);
__attribute__((weak)) void* __interceptor_memalign(size_t alignment, size_t size);
__attribute__((weak)) void __interceptor_free(void* block);
}

KELO_INTERPOSED(void*, malloc, (size_t size)) {
  if (FailsToAllocate("malloc")) return nullptr;
  return __interceptor_malloc ? __interceptor_malloc(size) : __libc_malloc(size);
}

KELO_INTERPOSED(void*, calloc, (size_t count, size_t size)) {
  if (FailsToAllocate("calloc")) return nullptr;
  return __interceptor_calloc ? __interceptor_calloc(count, size) : __libc_calloc(count, size);
}

KELO_INTERPOSED(void*, realloc, (void* block, size_t size)) {
  if (FailsToAllocate("realloc")) return nullptr;
  return __interceptor_realloc ? __interceptor_realloc(block, size) : __libc_realloc(block, size);
}

KELO_INTERPOSED(void*, aligned_alloc, (size_t alignment, size_t size)) {
  if (FailsToAllocate("aligned_alloc")) return nullptr;
  return __interceptor_memalign ? __interceptor_memalign(alignment, size)
                                : __libc_memalign(alignment, size);
}

KELO_INTERPOSED(void, free, (void* block)) {
  __interceptor_free ? __interceptor_free(block) : __libc_free(block);
}

// Every form, since the address sanitizer would have its own of those that are left out.
namespace {
void* New(size_t size) {
  if (void* const block = malloc(size > 0 ? size : 1)) return block;
  throw std::bad_alloc();
}
void* New(size_t size, std::align_val_t alignment) {
  const auto step = static_cast<size_t>(alignment);
  if (void* const block = aligned_alloc(step, (size + step - 1) / step * step)) return block;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(size_t size) {
  return New(size);
}
void* operator new[](size_t size) {
  return New(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return malloc(size + 1);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return malloc(size + 1);
}
void* operator new(size_t size, std::align_val_t alignment) {
  return New(size, alignment);
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return New(size, alignment);
}
void operator delete(void* block) noexcept {
  free(block);
}
void operator delete[](void* block) noexcept {
  free(block);
}
void operator delete(void* block, size_t) noexcept {
  free(block);
}
void operator delete[](void* block, size_t) noexcept {
  free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  free(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  free(block);
}
void operator delete(void* block, size_t, std::align_val_t) noexcept {
  free(block);
}
void operator delete[](void* block, size_t, std::align_val_t) noexcept {
  free(block);
}

// ---- System calls ----

#define KELO_CALL(result, name, parameters, arguments, ...)     \
  KELO_INTERPOSED(result, name, parameters) {                   \
    if (FailsToCall(#name, __VA_ARGS__)) return -1;             \
    static const auto next = Next<result(*) parameters>(#name); \
    return next arguments;                                      \
  }

KELO_CALL(ssize_t, read, (int fd, void* data, size_t size), (fd, data, size), EINTR, EIO)
KELO_CALL(ssize_t, pread64, (int fd, void* data, size_t size, int64_t at), (fd, data, size, at),
          EINTR, EIO)
KELO_CALL(ssize_t, write, (int fd, const void* data, size_t size), (fd, data, size), EINTR, ENOSPC,
          EIO)
KELO_CALL(int, fstat, (int fd, void* status), (fd, status), EIO)
KELO_CALL(int, fstat64, (int fd, void* status), (fd, status), EIO)
KELO_CALL(int, stat, (const char* path, void* status), (path, status), EIO, ENOMEM)
KELO_CALL(int, stat64, (const char* path, void* status), (path, status), EIO, ENOMEM)
KELO_CALL(int, fstatat, (int folder, const char* path, void* status, int flags),
          (folder, path, status, flags), EIO, ENOMEM)
KELO_CALL(int, fstatat64, (int folder, const char* path, void* status, int flags),
          (folder, path, status, flags), EIO, ENOMEM)
KELO_CALL(int, access, (const char* path, int mode), (path, mode), EIO)
KELO_CALL(int, unlink, (const char* path), (path), EIO)
KELO_CALL(int, unlinkat, (int folder, const char* path, int flags), (folder, path, flags), EIO)
KELO_CALL(int, linkat, (int from, const char* old, int to, const char* name, int flags),
          (from, old, to, name, flags), EIO, ENOSPC)
KELO_CALL(int, socket, (int domain, int type, int protocol), (domain, type, protocol), EMFILE,
          ENOMEM)
KELO_CALL(int, socketpair, (int domain, int type, int protocol, int* pair),
          (domain, type, protocol, pair), EMFILE, ENOMEM)
KELO_CALL(int, eventfd, (unsigned int value, int flags), (value, flags), EMFILE)
KELO_CALL(int, connect, (int fd, const sockaddr* address, socklen_t size), (fd, address, size),
          ECONNREFUSED, ENETUNREACH)
KELO_CALL(int, getsockname, (int fd, sockaddr* address, socklen_t* size), (fd, address, size),
          ENOBUFS)
KELO_CALL(int, getpeername, (int fd, sockaddr* address, socklen_t* size), (fd, address, size),
          ENOTCONN)
KELO_CALL(int, getsockopt, (int fd, int level, int name, void* value, socklen_t* size),
          (fd, level, name, value, size), ENOBUFS)
KELO_CALL(int, setsockopt, (int fd, int level, int name, const void* value, socklen_t size),
          (fd, level, name, value, size), ENOBUFS)
KELO_CALL(ssize_t, send, (int fd, const void* data, size_t size, int flags),
          (fd, data, size, flags), EINTR, ECONNRESET, EPIPE)
KELO_CALL(ssize_t, sendto,
          (int fd, const void* data, size_t size, int flags, const sockaddr* to, socklen_t length),
          (fd, data, size, flags, to, length), EINTR, ECONNRESET)
KELO_CALL(ssize_t, recv, (int fd, void* data, size_t size, int flags), (fd, data, size, flags),
          EINTR, ECONNRESET)
KELO_CALL(int, poll, (pollfd * fds, nfds_t count, int wait), (fds, count, wait), EINTR, ENOMEM)

#define KELO_CALL_WITH_OPTION(name, parameters, arguments, ...) \
  KELO_INTERPOSED(int, name, parameters) {                      \
    va_list options;                                            \
    va_start(options, option);                                  \
    const long third = va_arg(options, long);                   \
    va_end(options);                                            \
    if (FailsToCall(#name, __VA_ARGS__)) return -1;             \
    static const auto next = Next<int(*) parameters>(#name);    \
    return next arguments;                                      \
  }

KELO_CALL_WITH_OPTION(open, (const char* path, int option, ...), (path, option, third), EINTR,
                      EMFILE, EIO, ENOSPC)
KELO_CALL_WITH_OPTION(open64, (const char* path, int option, ...), (path, option, third), EINTR,
                      EMFILE, EIO, ENOSPC)
#define KELO_OPENAT(name)                                                           \
  KELO_INTERPOSED(int, name, (int folder, const char* path, int flags, ...)) {      \
    va_list options;                                                                \
    va_start(options, flags);                                                       \
    const long mode = va_arg(options, long);                                        \
    va_end(options);                                                                \
    strncpy(kelo::testing::lastOpened, path, sizeof kelo::testing::lastOpened - 1); \
    if (FailsToCall(#name, EINTR, EMFILE, EIO, ENOSPC)) return -1;                  \
    static const auto next = Next<int (*)(int, const char*, int, ...)>(#name);      \
    return next(folder, path, flags, mode);                                         \
  }

KELO_OPENAT(openat)
KELO_OPENAT(openat64)
KELO_CALL_WITH_OPTION(fcntl, (int fd, int option, ...), (fd, option, third), ENOMEM)
KELO_CALL_WITH_OPTION(fcntl64, (int fd, int option, ...), (fd, option, third), ENOMEM)
KELO_CALL_WITH_OPTION(ioctl, (int fd, unsigned long option, ...), (fd, option, third), EIO)

// After its failure the descriptor is gone all the same.
KELO_INTERPOSED(int, close, (int fd)) {
  static const auto next = Next<int (*)(int)>("close");
  if (!FailsToCall("close", EINTR, EIO)) return next(fd);
  const int error = errno;
  next(fd);
  errno = error;
  return -1;
}
