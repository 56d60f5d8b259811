// A vector that grows without moving what it holds, and without taking twice the memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace kelo {

template <typename T>
class ChunkedVector {
 public:
  // Makes room for so many more, which Add then takes without failing.
  void Reserve(size_t more) {
    while (chunks_.size() * kChunk < size_ + more) {
      std::vector<T> chunk;
      chunk.reserve(kChunk);
      chunks_.push_back(std::move(chunk));
    }
  }

  // The number of what was added.
  uint32_t Add(T value) noexcept {
    chunks_[size_ / kChunk].push_back(std::move(value));
    return size_++;
  }

  T& operator[](uint32_t number) { return chunks_[number / kChunk][number % kChunk]; }
  const T& operator[](uint32_t number) const { return chunks_[number / kChunk][number % kChunk]; }
  uint32_t size() const { return size_; }

 private:
  static constexpr uint32_t kChunk = 256;

  std::vector<std::vector<T>> chunks_;
  uint32_t size_ = 0;
};

}  // namespace kelo
