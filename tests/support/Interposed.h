// How a call of this program stands before the system's.
#pragma once

namespace kelo {

// Whether the allocation that is about to be made fails; sets errno.
bool FailsToAllocate(const char* call);

}  // namespace kelo

// Defines `name` of the C library under a name of its own: what the headers say about it, and where
// they lead it to, is none of our business.
#define KELO_INTERPOSED(result, name, parameters)                                                \
  extern "C" __attribute__((visibility("default"))) result Torture_##name parameters asm(#name); \
  extern "C" result Torture_##name parameters
