// Storing a finished item record, and giving up the oldest one for it where the store is full.
#include "catalogue/ItemInfoCache.h"

#include <utility>

namespace kelo {

void ItemInfoCache::Store(std::string_view id, const tagKELO_ItemInfo& info) {
  if (capacity_ == 0) return;
  if (const auto found = byId_.find(id); found != byId_.end()) {
    Slot& slot = *found->second;
    order_.splice(order_.end(), order_, found->second);
    if (!slot.stored) slot.info = info;
    slot.stored = true;
    return;
  }
  // All that can fail comes first.
  if (order_.size() < capacity_) {
    std::list<Slot> added;
    added.push_back({std::string(id), true, info});
    byId_.emplace(added.front().id, added.begin());
    order_.splice(order_.end(), added);
    return;
  }
  std::string newest(id);
  order_.splice(order_.end(), order_, order_.begin());  // the oldest slot is used again
  auto key = byId_.extract(order_.back().id);
  order_.back() = {std::move(newest), true, info};
  key.key() = order_.back().id;
  byId_.insert(std::move(key));
}

}  // namespace kelo
