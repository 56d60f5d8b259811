// The bounded store of finished item records, first in, first out.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "KELOAccess.h"
#include "platform/KeyedHash.h"

namespace kelo {

// Holds at most `capacity` records. Every operation costs the same whatever the store holds. Ids
// are taken as they are; the owner puts the root id in place of an empty one. Not thread-safe.
class ItemInfoCache {
 public:
  explicit ItemInfoCache(uint32_t capacity) : capacity_(capacity) {}
  ItemInfoCache(const ItemInfoCache&) = delete;
  ItemInfoCache& operator=(const ItemInfoCache&) = delete;

  // Makes `id` the newest entry and stores a copy of `info`, unless a record of that id is stored
  // already: that one stays. A full store gives up its oldest entry for a new id. Nothing happens
  // when the capacity is 0, or out of memory, which throws.
  void Store(std::string_view id, const tagKELO_ItemInfo& info);

  // The stored record or null; valid until the next change of the store. Renews nothing.
  const tagKELO_ItemInfo* Find(std::string_view id) const {
    const auto found = byId_.find(id);
    return found != byId_.end() && found->second->stored ? &found->second->info : nullptr;
  }

  // Drops the record of `id`. Its place in the order of eviction stays, deliberately.
  void Remove(std::string_view id) noexcept {
    if (const auto found = byId_.find(id); found != byId_.end()) found->second->stored = false;
  }

  void Clear() noexcept {
    byId_.clear();
    order_.clear();
  }

 private:
  struct Slot {
    std::string id;
    bool stored = false;  // false after Remove
    tagKELO_ItemInfo info = {};
  };

  uint32_t capacity_;
  std::list<Slot> order_;  // oldest first
  // Keys are the slots' ids.
  std::unordered_map<std::string_view, std::list<Slot>::iterator, KeyedHash> byId_;
};

}  // namespace kelo
