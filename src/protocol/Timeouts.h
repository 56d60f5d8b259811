// How long a request to the service may be silent, in seconds. After an upload's body the transport
// adds time for the service to work on it (platform/SilenceWatch.h).
#pragma once

#include <algorithm>
#include <cstdint>

namespace kelo {

inline constexpr uint32_t kRequestTimeout = 60;
inline constexpr uint32_t kUploadTimeout = kRequestTimeout;
inline constexpr uint32_t kForeignAlbumsTimeout = 180;

// Of a request about `size` entries: one minute, and one more for each full 5000 entries; at most
// five.
constexpr uint32_t DecideTimeoutSetting(uint32_t size) {
  return std::min(size / 5000 + 1, 5u) * 60;
}

}  // namespace kelo
