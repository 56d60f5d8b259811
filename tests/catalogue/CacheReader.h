// Reads lists of the cache as a host does: the count first, then exactly as many entries.
#pragma once

#include <gtest/gtest.h>

#include "catalogue/KELOAccessCacheManager.h"
#include "controller/HostRecord.h"

namespace kelo::testing {

using Texts = std::vector<std::string>;
using Records = std::vector<tagKELO_ItemInfo>;

// `read(count, buffer)` fills the buffer with entries of `width` bytes. Count and list must agree:
// a list of one entry more or less is refused with `refusal` and leaves the buffer as it was.
template <typename Read>
std::string ReadList(uint32_t count, size_t width, uint32_t refusal, Read read) {
  const std::string untouched((count + 1) * width + 1, '#');
  std::string buffer = untouched;
  for (const uint32_t wrong : {count - 1, count + 1}) {
    if (wrong == UINT32_MAX) continue;
    EXPECT_EQ(read(wrong, buffer.data()), refusal) << wrong << " instead of " << count;
    EXPECT_TRUE(buffer == untouched);
  }
  EXPECT_EQ(read(count, buffer.data() + 1), uint32_t{kKELOResult_Success}) << count << " entries";
  EXPECT_EQ(buffer.back(), '#');
  return buffer.substr(1, count * width);
}

inline Texts SplitIds(const std::string& slots) {
  Texts ids;
  for (size_t at = 0; at < slots.size(); at += KELO_ID_FIELD_SIZE) ids.push_back(&slots[at]);
  return ids;
}

inline Records SplitRecords(const std::string& bytes) {
  Records records(bytes.size() / sizeof(tagKELO_ItemInfo));
  if (!records.empty()) std::memcpy(records.data(), bytes.data(), bytes.size());
  return records;
}

inline Texts IdsOnTarget(const KELOAccessCacheManager& cache, std::string_view target,
                         uint32_t mask) {
  return SplitIds(ReadList(
      cache.GetItemsCountOnTargetID(target, mask), KELO_ID_FIELD_SIZE, kKELOResult_BadParameter,
      [&](uint32_t count, char* buffer) {
        return cache.GetItemsIDListOnTargetID(target, count, buffer, mask);
      }));
}

inline Records RecordsOnTarget(KELOAccessCacheManager& cache, std::string_view target,
                               uint32_t mask) {
  return SplitRecords(ReadList(
      cache.GetItemsCountOnTargetID(target, mask), sizeof(tagKELO_ItemInfo),
      kKELOResult_BadParameter,
      [&](uint32_t count, char* buffer) {
        return cache.GetItemsInfoOnTargetID(target, count, buffer, mask);
      }));
}

inline Texts IdsOnServer(const KELOAccessCacheManager& cache, uint32_t mask) {
  return SplitIds(ReadList(
      cache.GetAllItemsCountOnServer(mask), KELO_ID_FIELD_SIZE, kKELOResult_GeneralFailure,
      [&](uint32_t count, char* buffer) {
        return cache.GetAllItemsIDListOnServer(count, buffer, mask);
      }));
}

inline Records RecordsOnServer(KELOAccessCacheManager& cache, uint32_t mask) {
  return SplitRecords(ReadList(
      cache.GetAllItemsCountOnServer(mask), sizeof(tagKELO_ItemInfo), kKELOResult_GeneralFailure,
      [&](uint32_t count, char* buffer) {
        return cache.GetAllItemsInfoOnServer(count, buffer, mask);
      }));
}

inline tagKELO_ItemInfo RecordOf(KELOAccessCacheManager& cache, std::string_view id) {
  tagKELO_ItemInfo info;
  std::memset(&info, '#', sizeof info);
  cache.GetItemInfo(id, info);
  return info;
}

}  // namespace kelo::testing
