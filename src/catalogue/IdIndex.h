// A table from hash values to numbers, with open addressing. The owner computes the hash, with a
// key if a peer chooses what is hashed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "catalogue/HierarchyRecords.h"

namespace kelo {

// Nothing is ever taken out.
class IdIndex {
 public:
  // Makes room for so many more numbers, which Insert then takes without failing.
  void Reserve(size_t more);

  // The number of that hash that `matches`, or kNone.
  template <typename Matches>
  uint32_t Find(uint32_t hash, Matches matches) const {
    if (slots_.empty()) return kNone;
    for (size_t at = hash & mask_; slots_[at].number != kNone; at = (at + 1) & mask_)
      if (slots_[at].hash == hash && matches(slots_[at].number)) return slots_[at].number;
    return kNone;
  }

  void Insert(uint32_t hash, uint32_t number) noexcept;
  // Puts another number in the place of one that is there.
  void Replace(uint32_t hash, uint32_t number, uint32_t other) noexcept;

 private:
  struct Slot {
    uint32_t hash = 0;
    uint32_t number = kNone;
  };

  std::vector<Slot> slots_;  // a power of two of them, three quarters full at most
  size_t mask_ = 0;
  size_t count_ = 0;
};

}  // namespace kelo
