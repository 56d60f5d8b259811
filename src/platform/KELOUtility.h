// Local utilities: reading a small file whole, and the clock.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace kelo {

class KELOUtilityBase {
 public:
  virtual ~KELOUtilityBase() = default;

  virtual std::unique_ptr<uint8_t[]> ReadLocalTextFile(std::string_view path, uint32_t& size) = 0;
};

// Made for one call and thrown away after it. One thread at a time.
class KELOUtility {
 public:
  KELOUtility();

  // The raw bytes of a regular file, without a terminating zero; `size` is their number. Null and
  // size 0 for an empty path and for a file that is missing, unreadable or not regular. An empty
  // file is not null.
  std::unique_ptr<uint8_t[]> ReadLocalTextFile(std::string_view path, uint32_t& size) {
    return platform_->ReadLocalTextFile(path, size);
  }

 private:
  std::unique_ptr<KELOUtilityBase> platform_;
};

// Seconds since 1 January 2001, 00:00 UTC, with fractions. Follows the system clock, so it may go
// back. Any thread.
double GetTimeIntervalSinceReferenceDate();

}  // namespace kelo
