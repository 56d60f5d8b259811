// The index of numbers by hash: how it grows, and where a number goes in it.
#include "catalogue/IdIndex.h"

#include <algorithm>

namespace kelo {

void IdIndex::Reserve(size_t more) {
  const size_t needed = count_ + more;
  size_t size = std::max<size_t>(slots_.size(), 16);
  while (needed > size / 4 * 3) size *= 2;
  if (size == slots_.size()) return;
  std::vector<Slot> former(size);
  former.swap(slots_);
  mask_ = size - 1;
  count_ = 0;
  for (const Slot& slot : former)
    if (slot.number != kNone) Insert(slot.hash, slot.number);
}

void IdIndex::Insert(uint32_t hash, uint32_t number) noexcept {
  size_t at = hash & mask_;
  while (slots_[at].number != kNone) at = (at + 1) & mask_;
  slots_[at] = {hash, number};
  ++count_;
}

void IdIndex::Replace(uint32_t hash, uint32_t number, uint32_t other) noexcept {
  size_t at = hash & mask_;
  while (slots_[at].number != number) at = (at + 1) & mask_;
  slots_[at].number = other;
}

}  // namespace kelo
