// A text that is created from UTF-8 or UTF-16 and read as either, converted when first asked for.
//
// Lengths and positions count UTF-16 units. A text ends at its first zero byte or unit. Content
// that cannot be decoded is never repaired: reading it in the other form gives null.
//
// Ownership: each string owns its forms; a pointer that it hands out lives until the string is next
// changed, assigned or destroyed. One thread at a time, const calls included (they keep what they
// convert).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelo {

class CFTPSStringData {
 public:
  // Result codes.
  static constexpr uint32_t kSuccess = 0;
  static constexpr uint32_t kFailure = 4104;  // missing input or failed conversion

  CFTPSStringData() = default;

  // Replaces the content, unchecked. A null input leaves the string empty and answers 4104.
  uint32_t InitWithUtf8(const char* text);
  uint32_t InitWithUtf8(std::string_view text);
  uint32_t InitWithUnicode(const char16_t* text);
  uint32_t InitWithUnicode(std::u16string_view text);

  // Zero-terminated; null if the content cannot be converted. An empty string gives "".
  const char16_t* GetPtrUnicode() const;

  // Number of UTF-16 units; 0 for an empty string or one that cannot be decoded.
  uint32_t GetLengthChar() const;

  // ==== No command reaches what follows. ====

  // The platform's own string, which here is a UTF-16 text.
  uint32_t InitWithCFString(std::u16string_view text) { return InitWithUnicode(text); }

  // As GetPtrUnicode.
  const char* GetPtrUtf8() const;

  // Replaces the content by its Normalization Form C. 0, or 4104 with the content unchanged.
  uint32_t NormalizeUtf8String();

  // `count` units from position `start`, cut at the end of the text; empty unless `start` lies
  // within the text and the text holds at least `count` units.
  CFTPSStringData Mid(uint32_t start, uint32_t count) const;

 private:
  const std::string* Utf8() const;
  const std::u16string* Unicode() const;

  // What the string was created from, and the other form once it was asked for.
  mutable std::optional<std::string> utf8_;
  mutable std::optional<std::u16string> unicode_;
};

// Compares by full Unicode case folding: below 0, 0, above 0. Text that cannot be decoded comes
// first, and two such texts are equal.
int FTPSStringDataCmpi(const CFTPSStringData& a, const CFTPSStringData& b);

// The text after the first `count` units; empty when there are fewer.
CFTPSStringData FTPSStringDataInc(const CFTPSStringData& text, uint32_t count);

// As FTPSStringDataCmpi, on the first `count` units of each. No command reaches it.
int FTPSStringDataCmpni(const CFTPSStringData& a, const CFTPSStringData& b, uint32_t count);

}  // namespace kelo
