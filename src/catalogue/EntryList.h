// The lists of the cached hierarchy: entries known by id that keep the service's order.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelo {

// Ordered by byte-wise comparison of the ids.
template <typename Record>
using IDMap = std::map<std::string, Record, std::less<>>;

// Entries are replaced in place and removed only all together, so that others may refer to them;
// the one exception is the last one, just added. `Record` has the members index and sequence and a
// KeepPlaceOf(const Record&), and can be moved without failing.
template <typename Record>
class EntryList {
 public:
  using Entry = typename IDMap<Record>::value_type;

  EntryList() = default;
  EntryList(EntryList&&) = default;  // entries stay where they are
  EntryList& operator=(EntryList&&) = default;

  // Adds the entry, or replaces it, as the last one: its index is the size of the list without it.
  // Two entries can come to have the same index; `sequence`, which must grow, tells their order.
  // Where memory is short the list stays as it was.
  std::pair<Entry*, bool> PutAtEnd(std::string_view id, Record record, uint64_t sequence) {
    auto position = byID_.lower_bound(id);
    const bool added = position == byID_.end() || position->first != id;
    if (added) {
      byAddition_.push_back(nullptr);
      try {
        position = byID_.emplace_hint(position, id, std::move(record));
      } catch (...) {
        byAddition_.pop_back();
        throw;
      }
      byAddition_.back() = &*position;
    } else {
      record.KeepPlaceOf(position->second);
      position->second = std::move(record);
    }
    position->second.index = static_cast<uint32_t>(byID_.size() - 1);
    position->second.sequence = sequence;
    return {&*position, added};
  }

  // Takes back the entry that was added last, if it has that id.
  void TakeBack(std::string_view id) noexcept {
    if (byAddition_.empty() || byAddition_.back()->first != id) return;
    byAddition_.pop_back();
    byID_.erase(byID_.find(id));
  }

  void Clear() noexcept {
    byAddition_.clear();
    byID_.clear();
  }

  size_t size() const { return byID_.size(); }
  const IDMap<Record>& ByID() const { return byID_; }
  // In the order in which they were first added. Since that is how they lie in memory, this is the
  // fast way through a large list; it is the service's order unless an entry was added again.
  const std::vector<const Entry*>& ByAddition() const { return byAddition_; }

 private:
  IDMap<Record> byID_;
  std::vector<const Entry*> byAddition_;
};

}  // namespace kelo
