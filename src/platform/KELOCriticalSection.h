// A plain mutex and its scoped lock.
//
// The mutex is not recursive: a thread that enters twice blocks for ever. Results are POSIX
// results, 0 for success.
#pragma once

#include <memory>

namespace kelo {

class KELOCriticalSectionBase {
 public:
  KELOCriticalSectionBase() = default;
  KELOCriticalSectionBase(const KELOCriticalSectionBase&) = delete;
  KELOCriticalSectionBase& operator=(const KELOCriticalSectionBase&) = delete;
  virtual ~KELOCriticalSectionBase() = default;

  virtual int Enter() = 0;
  virtual int Leave() = 0;
};

// Owns the platform's mutex.
class KELOCriticalSection {
 public:
  KELOCriticalSection();
  int Enter() { return platform_->Enter(); }
  int Leave() { return platform_->Leave(); }

 private:
  std::unique_ptr<KELOCriticalSectionBase> platform_;
};

// Holds a critical section, which must outlive it, for the length of a scope.
class [[nodiscard]] KELOAutoLock {
 public:
  explicit KELOAutoLock(KELOCriticalSection& section) : section_(section) { section_.Enter(); }
  ~KELOAutoLock() { section_.Leave(); }
  KELOAutoLock(const KELOAutoLock&) = delete;
  KELOAutoLock& operator=(const KELOAutoLock&) = delete;

 private:
  KELOCriticalSection& section_;
};

}  // namespace kelo
