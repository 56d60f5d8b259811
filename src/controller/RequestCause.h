// Why a request failed, as one of the words that RequestTrace.h lists.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/URLLoading.h"

namespace kelo {

struct RequestCause {
  std::string_view cause;     // empty: it did not fail
  std::string_view unusable;  // what the answer was unusable for; empty otherwise
};

// `transport` is the result of the request itself; `answer` what came, null where no answer of the
// service was wanted.
RequestCause CauseOf(uint32_t transport, const URLTransferInfo& transfer,
                     const std::string* answer);

}  // namespace kelo
