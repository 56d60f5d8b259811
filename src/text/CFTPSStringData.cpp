// Converts a text between UTF-8 and UTF-16 when somebody first asks for the other form.
#include "text/CFTPSStringData.h"

#include <utility>

#include "text/Unicode.h"

namespace kelo {
uint32_t CFTPSStringData::InitWithUtf8(const char* text) {
  if (text == nullptr) {
    *this = {};
    return kFailure;
  }
  return InitWithUtf8(std::string_view(text));
}

uint32_t CFTPSStringData::InitWithUtf8(std::string_view text) {
  utf8_ = std::string(UntilZero(text));  // copied before the old form goes: it may be its source
  unicode_.reset();
  return kSuccess;
}

uint32_t CFTPSStringData::InitWithUnicode(const char16_t* text) {
  if (text == nullptr) {
    *this = {};
    return kFailure;
  }
  return InitWithUnicode(std::u16string_view(text));
}

uint32_t CFTPSStringData::InitWithUnicode(std::u16string_view text) {
  unicode_ = std::u16string(text.substr(0, text.find(u'\0')));
  utf8_.reset();
  return kSuccess;
}

const std::string* CFTPSStringData::Utf8() const {
  if (!utf8_) {
    std::string converted;
    if (unicode_ && !AppendUtf8(*unicode_, converted)) return nullptr;
    utf8_ = std::move(converted);
  }
  return &*utf8_;
}

const std::u16string* CFTPSStringData::Unicode() const {
  if (!unicode_) {
    std::u16string converted;
    if (utf8_ && !Utf8ToUtf16(*utf8_, converted)) return nullptr;
    unicode_ = std::move(converted);
  }
  return &*unicode_;
}

const char* CFTPSStringData::GetPtrUtf8() const {
  const std::string* text = Utf8();
  return text != nullptr ? text->c_str() : nullptr;
}

const char16_t* CFTPSStringData::GetPtrUnicode() const {
  const std::u16string* text = Unicode();
  return text != nullptr ? text->c_str() : nullptr;
}

uint32_t CFTPSStringData::GetLengthChar() const {
  const std::u16string* text = Unicode();
  return text != nullptr ? static_cast<uint32_t>(text->size()) : 0;
}

uint32_t CFTPSStringData::NormalizeUtf8String() {
  const std::string* text = Utf8();
  if (text == nullptr) return kFailure;
  std::string composed;
  const std::string_view result = ComposeUtf8(*text, composed);
  return result.data() != nullptr ? InitWithUtf8(result) : kFailure;
}

CFTPSStringData CFTPSStringData::Mid(uint32_t start, uint32_t count) const {
  CFTPSStringData result;
  const uint32_t length = GetLengthChar();
  if (length > start && length >= count)
    result.InitWithUnicode(std::u16string_view(*Unicode()).substr(start, count));
  return result;
}

int FTPSStringDataCmpi(const CFTPSStringData& a, const CFTPSStringData& b) {
  return FTPSStringDataCmpni(a, b, UINT32_MAX);
}

int FTPSStringDataCmpni(const CFTPSStringData& a, const CFTPSStringData& b, uint32_t count) {
  const char16_t* first = a.GetPtrUnicode();
  const char16_t* second = b.GetPtrUnicode();
  if (first == nullptr || second == nullptr) return (first != nullptr) - (second != nullptr);
  return CompareFolded(std::u16string_view(first).substr(0, count),
                       std::u16string_view(second).substr(0, count));
}

CFTPSStringData FTPSStringDataInc(const CFTPSStringData& text, uint32_t count) {
  CFTPSStringData result;
  if (text.GetLengthChar() > count) result.InitWithUnicode(text.GetPtrUnicode() + count);
  return result;
}

}  // namespace kelo
