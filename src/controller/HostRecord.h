// How the host's records cross into the library and back: whole records, their text fields of fixed
// size, and their texts by pointer and length.
//
// The host's memory may be unaligned, so every record crosses by memcpy. Nothing is touched where
// the count is 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "KELOAccess.h"

namespace kelo {

template <typename Record>
Record LoadRecord(const void* source) {
  Record record;
  std::memcpy(&record, source, sizeof record);
  return record;
}

template <typename Record>
void StoreRecord(void* destination, const Record& record) {
  std::memcpy(destination, &record, sizeof record);
}

template <typename Record>
std::vector<Record> LoadRecords(const void* source, uint32_t count) {
  std::vector<Record> records(count);
  if (count != 0) std::memcpy(records.data(), source, count * sizeof(Record));
  return records;
}

template <typename Record>
void StoreRecords(void* destination, const std::vector<Record>& records) {
  if (!records.empty()) std::memcpy(destination, records.data(), records.size() * sizeof(Record));
}

// Writes `text` into `field`, cut to N - 1 bytes and NUL-terminated. The rest of the field is
// cleared, because records are handed out whole and must not show what the memory held before.
template <size_t N>
void CopyTextField(char (&field)[N], std::string_view text) {
  const size_t length = std::min(text.size(), N - 1);
  if (length > 0) std::memmove(field, text.data(), length);  // a view of the field itself is fine
  std::memset(field + length, 0, N - length);
}

// The text of `field`: up to its first NUL, or all N bytes of a field that lacks one. The view is
// valid as long as the field is.
template <size_t N>
std::string_view ReadTextField(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

// A text by pointer and length: `length` bytes, or fewer where a zero byte ends it before. Empty
// for a null pointer or length 0.
std::string KELOStringInfoToString(const tagKELO_StringInfo& info);

// Hands `text` to the host: a NUL-terminated buffer made with array new, which the host then owns.
// What `info` held before is overwritten, not freed; an empty text stores a null pointer and length
// 0. Returns 1, or 0 with a null pointer and the length left alone when memory runs out.
uint32_t StringToKELOStringInfo(std::string_view text, tagKELO_StringInfo& info);

// As StringToKELOStringInfo, but an empty text leaves the record as it is.
uint32_t HandOutText(std::string_view text, tagKELO_StringInfo& info);

}  // namespace kelo
