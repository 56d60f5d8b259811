// Copies records between host memory and the library. Host buffers may be unaligned, so every
// record crosses by memcpy; nothing is touched where the count is 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace kelo {

template <typename Record>
Record LoadRecord(const void* source) {
  static_assert(std::is_trivially_copyable_v<Record>);
  Record record;
  std::memcpy(&record, source, sizeof record);
  return record;
}

template <typename Record>
void StoreRecord(void* destination, const Record& record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  std::memcpy(destination, &record, sizeof record);
}

template <typename Record>
std::vector<Record> LoadRecords(const void* source, uint32_t count) {
  static_assert(std::is_trivially_copyable_v<Record>);
  std::vector<Record> records(count);
  if (count != 0) std::memcpy(records.data(), source, count * sizeof(Record));
  return records;
}

template <typename Record>
void StoreRecords(void* destination, const std::vector<Record>& records) {
  static_assert(std::is_trivially_copyable_v<Record>);
  if (!records.empty()) std::memcpy(destination, records.data(), records.size() * sizeof(Record));
}

}  // namespace kelo
