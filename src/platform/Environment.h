// What the library takes from the environment of the process.
#pragma once

namespace kelo {

// Whether the program has more rights than its caller (set-user-id and the like).
bool HasMoreRightsThanCaller();

// The value of a variable, or null. A program with more rights than its caller doesn't listen to
// the environment: null for every name. Not while another thread changes the environment.
const char* TrustedEnvironment(const char* name);

}  // namespace kelo
