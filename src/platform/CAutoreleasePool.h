// The scope that brackets every call into the platform level.
//
// A platform with temporary reference-counted objects releases them at the end of this scope. Here
// every object has an owner, so the scope is a marker and does nothing.
#pragma once

namespace kelo {

class [[nodiscard]] CAutoreleasePool {
 public:
  CAutoreleasePool() {}
  ~CAutoreleasePool() {}
  CAutoreleasePool(const CAutoreleasePool&) = delete;
  CAutoreleasePool& operator=(const CAutoreleasePool&) = delete;
};

}  // namespace kelo
