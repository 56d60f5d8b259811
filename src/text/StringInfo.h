// Texts that cross the host interface as pointer and length, and decimal numbers in answers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KELOAccess.h"

namespace kelo {

// The text of a host's record: `length` bytes, or fewer where a zero byte ends it before. Empty for
// a null pointer or length 0.
std::string KELOStringInfoToString(const tagKELO_StringInfo& info);

// Hands `text` to the host: a NUL-terminated buffer made with array new, which the host then owns.
// What `info` held before is overwritten, not freed; an empty text stores a null pointer and length
// 0. Returns 1, or 0 with a null pointer and the length left alone when memory runs out.
uint32_t StringToKELOStringInfo(std::string_view text, tagKELO_StringInfo& info);

// As StringToKELOStringInfo, but an empty text leaves the record as it is.
uint32_t HandOutText(std::string_view text, tagKELO_StringInfo& info);

// The leading decimal digits of `text`, wrapping at 64 bits; 0 when there are none.
uint64_t StringToULL(std::string_view text);

}  // namespace kelo
