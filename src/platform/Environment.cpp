// Reads variables of the environment, unless the program has more rights than its caller.
#include "platform/Environment.h"

#include <cstdlib>
#if defined(__linux__)
#include <sys/auxv.h>
#else
#include <unistd.h>
#endif

namespace kelo {

bool HasMoreRightsThanCaller() {
#if defined(__linux__)
  return getauxval(AT_SECURE) != 0;
#else
  return issetugid() != 0;
#endif
}

const char* TrustedEnvironment(const char* name) {
  return HasMoreRightsThanCaller() ? nullptr : std::getenv(name);
}

}  // namespace kelo
