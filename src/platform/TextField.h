// Fixed-width text fields of records: written cut and terminated, read never past their width.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace kelo {

// Writes `text` into `field`, cut to N - 1 bytes and NUL-terminated. The rest of the field is
// cleared, because records are handed out whole and must not show what the memory held before.
template <size_t N>
void CopyTextField(char (&field)[N], std::string_view text) {
  static_assert(N > 0);
  const size_t length = std::min(text.size(), N - 1);
  if (length > 0) std::memmove(field, text.data(), length);  // a view of the field itself is fine
  std::memset(field + length, 0, N - length);
}

// The text of `field`: up to its first NUL, or all N bytes of a field that lacks one. The view is
// valid as long as the field is.
template <size_t N>
std::string_view ReadTextField(const char (&field)[N]) {
  const void* end = std::memchr(field, '\0', N);
  return {field, end ? static_cast<size_t>(static_cast<const char*>(end) - field) : N};
}

}  // namespace kelo
