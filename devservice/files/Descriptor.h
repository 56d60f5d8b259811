// Owns a file descriptor, and closes it when the owner goes.
#pragma once

#include <unistd.h>

#include <utility>

namespace kelo::devservice {

class Descriptor {
 public:
  explicit Descriptor(int value = -1) : value_(value) {}
  ~Descriptor() {
    if (value_ >= 0) close(value_);
  }
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  int Get() const { return value_; }

 private:
  int value_;
};

}  // namespace kelo::devservice
