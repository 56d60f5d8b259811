// UTF-8, UTF-16 and Normalization Form C by the Unicode library, strictly: input that is not well
// formed fails and is never repaired. On failure the output is unspecified. Any thread.
#pragma once

#include <unicode/utf8.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kelo {

// The text before the first zero byte, where a zero-terminated text ends.
inline std::string_view UntilZero(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

bool IsAscii(std::string_view text);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside the library's macro
// The UTF-8 character at `i`, which moves behind it; negative if it is not well formed.
inline UChar32 NextCharacter(std::string_view text, size_t& i) {
  UChar32 c;
  U8_NEXT(text.data(), i, text.size(), c);
  return c;
}

// Without a character at the end whose last bytes are missing.
inline std::string_view WithoutCutCharacter(std::string_view text) {
  auto size = static_cast<ptrdiff_t>(text.size());  // the macro looks below zero
  U8_TRUNCATE_IF_INCOMPLETE(text.data(), 0, size);
  return text.substr(0, static_cast<size_t>(size));
}
#pragma GCC diagnostic pop

bool Utf8ToUtf16(std::string_view text, std::u16string& out);

// Appends to `out`. Fails on a lone surrogate.
bool AppendUtf8(std::u16string_view text, std::string& out);

// Composes UTF-8 text. What is composed already costs a check, and `out` stays untouched: the
// result is the returned view, into `text` or into `out`. A null view for text that is not UTF-8.
std::string_view ComposeUtf8(std::string_view text, std::string& out);

// Compares by full case folding, in code point order.
int CompareFolded(std::u16string_view a, std::u16string_view b);

}  // namespace kelo
