// Conversion, normalization and comparison of texts by calls of ICU.
#include "text/Unicode.h"

#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace kelo {
namespace {

// The library counts in signed 32-bit numbers.
bool Fits(size_t size) {
  return size <= std::numeric_limits<int32_t>::max();
}

bool IsUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();)
    if (NextCharacter(text, i) < 0) return false;
  return true;
}

}  // namespace

bool IsAscii(std::string_view text) {
  constexpr uint64_t kHighBits = 0x8080808080808080u;
  uint64_t seen = 0;
  size_t i = 0;
  for (; i + sizeof(seen) <= text.size(); i += sizeof(seen)) {
    uint64_t block;
    std::memcpy(&block, text.data() + i, sizeof(block));
    seen |= block;
  }
  for (; i < text.size(); ++i) seen |= static_cast<unsigned char>(text[i]);
  return (seen & kHighBits) == 0;
}

bool Utf8ToUtf16(std::string_view text, std::u16string& out) {
  if (!Fits(text.size())) return false;
  out.resize(text.size());  // never more units than bytes
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                static_cast<int32_t>(text.size()), &status);
  if (U_FAILURE(status)) return false;
  out.resize(static_cast<size_t>(length));
  return true;
}

bool AppendUtf8(std::u16string_view text, std::string& out) {
  for (size_t i = 0; i < text.size();) {
    char32_t c;
    U16_NEXT(text, i, text.size(), c);
    if (U_IS_SURROGATE(c)) return false;
    char bytes[U8_MAX_LENGTH];
    size_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, c);
    out.append(bytes, length);
  }
  return true;
}

std::string_view ComposeUtf8(std::string_view text, std::string& out) {
  if (IsAscii(text)) return text.empty() ? std::string_view("") : text;
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status) || !Fits(text.size()) || !IsUtf8(text)) return {};
  const icu::StringPiece piece(text.data(), static_cast<int32_t>(text.size()));
  if (nfc->isNormalizedUTF8(piece, status) && U_SUCCESS(status)) return text;
  std::string composed;
  icu::StringByteSink<std::string> sink(&composed, static_cast<int32_t>(text.size()));
  nfc->normalizeUTF8(0, piece, sink, nullptr, status);
  if (U_FAILURE(status)) return {};
  out = std::move(composed);
  return out;
}

int CompareFolded(std::u16string_view a, std::u16string_view b) {
  // Most pairs are told apart by ASCII letters alone, each of which folds to one other.
  const auto folded = [](char16_t c) { return c >= u'A' && c <= u'Z' ? c + 32 : c + 0; };
  for (size_t i = 0; i < a.size() && i < b.size() && a[i] < 0x80 && b[i] < 0x80; ++i)
    if (const int order = folded(a[i]) - folded(b[i])) return order;
  UErrorCode status = U_ZERO_ERROR;
  return u_strCaseCompare(a.data(), static_cast<int32_t>(a.size()), b.data(),
                          static_cast<int32_t>(b.size()),
                          U_FOLD_CASE_DEFAULT | U_COMPARE_CODE_POINT_ORDER, &status);
}

}  // namespace kelo
