// The program's own operator new, which can be told to fail. Array new comes here, too, by the
// standard library's default; a sanitizer has its own.
#include "catalogue/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocationsLeft = 0;  // 0: none fails

}  // namespace

void* operator new(std::size_t size) {
  if (allocationsLeft > 0 && --allocationsLeft == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace kelo::testing {

bool FailsAtAllocation(std::size_t n, const std::function<void()>& change) {
  allocationsLeft = n;
  try {
    change();
  } catch (const std::bad_alloc&) {
    allocationsLeft = 0;
    return true;
  }
  const bool failed = allocationsLeft == 0;  // and was passed over in silence
  allocationsLeft = 0;
  return failed;
}

}  // namespace kelo::testing
