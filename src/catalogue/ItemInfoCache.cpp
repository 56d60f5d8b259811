// The bounded store of finished item records.
#include "catalogue/ItemInfoCache.h"

namespace kelo {

void ItemInfoCache::Store(std::string_view id, const tagKELO_ItemInfo& info) {
  if (capacity_ == 0) return;
  if (const auto found = slots_.find(id); found != slots_.end()) {
    Slot& slot = *found->second;
    order_.splice(order_.end(), order_, found->second);
    if (!slot.stored) slot.info = info;
    slot.stored = true;
    return;
  }
  if (order_.size() >= capacity_) {  // the oldest slot is used again
    slots_.erase(order_.front().id);
    order_.splice(order_.end(), order_, order_.begin());
  } else {
    order_.emplace_back();
  }
  Slot& slot = order_.back();
  slot.id = id;
  slot.stored = true;
  slot.info = info;
  slots_.emplace(slot.id, std::prev(order_.end()));
}

const tagKELO_ItemInfo* ItemInfoCache::Find(std::string_view id) const {
  const auto found = slots_.find(id);
  return found != slots_.end() && found->second->stored ? &found->second->info : nullptr;
}

void ItemInfoCache::Remove(std::string_view id) {
  if (const auto found = slots_.find(id); found != slots_.end()) found->second->stored = false;
}

void ItemInfoCache::Clear() {
  slots_.clear();
  order_.clear();
}

}  // namespace kelo
