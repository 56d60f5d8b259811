// The allocations that stand before the system's. Under the address sanitizer its own functions are
// the next ones.
#include <cstdlib>
#include <new>

#include "support/Interposed.h"

using kelo::FailsToAllocate;

// The sanitizer knows the dynamic linker's memory by the caller of malloc, which is this file here.
// So it is told the names of the linker's file.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:ld-linux\nleak:ld64.so\n";
}

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

#define KELO_NEW(parameters, block) \
  void* operator new parameters {   \
    return block;                   \
  }                                 \
  void* operator new[] parameters { \
    return block;                   \
  }
KELO_NEW((size_t size), New(size))
KELO_NEW((size_t size, const std::nothrow_t&) noexcept, malloc(size + 1))
KELO_NEW((size_t size, std::align_val_t alignment), New(size, alignment))

#define KELO_DELETE(parameters)                \
  void operator delete parameters noexcept {   \
    free(block);                               \
  }                                            \
  void operator delete[] parameters noexcept { \
    free(block);                               \
  }
KELO_DELETE((void* block))
KELO_DELETE((void* block, size_t))
KELO_DELETE((void* block, std::align_val_t))
KELO_DELETE((void* block, size_t, std::align_val_t))
