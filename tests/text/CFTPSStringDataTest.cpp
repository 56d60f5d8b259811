// The string of two encodings: conversion, lengths, parts, comparison.
#include "text/CFTPSStringData.h"

#include <gtest/gtest.h>

namespace kelo {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

CFTPSStringData Utf8(std::string_view text) {
  CFTPSStringData data;
  EXPECT_EQ(data.InitWithUtf8(text), 0u);
  return data;
}

std::string Read(const CFTPSStringData& data) {
  const char* text = data.GetPtrUtf8();
  return text != nullptr ? text : "(null)";
}

TEST(CFTPSStringData, ConvertsBothWays) {
  struct {
    const char* utf8;
    std::u16string unicode;
  } const cases[] = {{"", u""},
                     {"abc", u"abc"},
                     {"\u00E9\u65E5\u672C", u"\u00E9\u65E5\u672C"},
                     {"a\U0001F600b", u"a\U0001F600b"},
                     {"\uFFFF", u"\uFFFF"}};
  for (const auto& c : cases) {
    const CFTPSStringData fromUtf8 = Utf8(c.utf8);
    ASSERT_NE(fromUtf8.GetPtrUnicode(), nullptr) << c.utf8;
    EXPECT_EQ(fromUtf8.GetPtrUnicode(), c.unicode) << c.utf8;
    EXPECT_EQ(fromUtf8.GetLengthChar(), c.unicode.size()) << c.utf8;
    CFTPSStringData fromUnicode;
    EXPECT_EQ(fromUnicode.InitWithCFString(c.unicode), 0u);
    EXPECT_EQ(Read(fromUnicode), c.utf8);
    EXPECT_EQ(fromUnicode.GetLengthChar(), c.unicode.size()) << c.utf8;
  }
}

TEST(CFTPSStringData, NullIsRefusedAndLeavesNothing) {
  CFTPSStringData data;
  EXPECT_EQ(data.GetLengthChar(), 0u);
  EXPECT_EQ(Read(data), "");
  EXPECT_EQ(data.NormalizeUtf8String(), 0u);
  data = Utf8("abc");
  EXPECT_EQ(data.InitWithUtf8(static_cast<const char*>(nullptr)), 4104u);
  EXPECT_EQ(Read(data), "");
  data = Utf8("abc");
  EXPECT_EQ(data.InitWithUnicode(static_cast<const char16_t*>(nullptr)), 4104u);
  EXPECT_EQ(data.GetLengthChar(), 0u);
}

TEST(CFTPSStringData, EndsAtTheFirstZero) {
  EXPECT_EQ(Read(Utf8("ab\0cd"sv)), "ab");
  EXPECT_EQ(Utf8("ab\0\xFF"sv).GetLengthChar(), 2u);
  CFTPSStringData data;
  data.InitWithUnicode(u"ab\0cd"sv);
  EXPECT_EQ(data.GetLengthChar(), 2u);
}

TEST(CFTPSStringData, UndecodableIsNeverRepaired) {
  for (const char* bad : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
    CFTPSStringData data = Utf8(bad);
    EXPECT_EQ(data.GetPtrUnicode(), nullptr) << bad;
    EXPECT_EQ(data.GetLengthChar(), 0u) << bad;
    EXPECT_EQ(data.NormalizeUtf8String(), 4104u) << bad;
    EXPECT_EQ(Read(data), bad) << "its own form is still there";
    EXPECT_EQ(data.Mid(0, 1).GetLengthChar(), 0u) << bad;
  }
  CFTPSStringData lone;
  lone.InitWithUnicode(u"a\xD83D"sv);
  EXPECT_EQ(lone.GetPtrUtf8(), nullptr);
  EXPECT_EQ(lone.GetLengthChar(), 2u);
  EXPECT_EQ(lone.NormalizeUtf8String(), 4104u);
}

TEST(CFTPSStringData, NormalizesToTheComposedForm) {
  const std::pair<const char*, const char*> cases[] = {
      {"e\u0301", "\u00E9"},
      {"a\u0307\u0323", "\u1EA1\u0307"},  // marks are put in order
      {"\uFB01\u0301", "\uFB01\u0301"},   // only what is canonical
      {"\u0958", "\u0915\u093C"}};        // excluded from composition
  for (const auto& [text, composed] : cases) {
    CFTPSStringData data = Utf8(text);
    ASSERT_NE(data.GetPtrUnicode(), nullptr);  // a form from before must not survive
    EXPECT_EQ(data.NormalizeUtf8String(), 0u);
    EXPECT_EQ(Read(data), composed);
    EXPECT_EQ(data.GetLengthChar(), Utf8(composed).GetLengthChar());
  }
}

TEST(CFTPSStringData, PartsAreCountedInUnits) {
  const CFTPSStringData text = Utf8("ab\u65E5\U0001F600z");  // 6 units
  struct {
    std::uint32_t start, count;
    const char* part;
  } const cases[] = {{0, 6, "ab\u65E5\U0001F600z"},
                     {1, 2, "b\u65E5"},
                     {3, 2, "\U0001F600"},
                     {5, 1, "z"},
                     {4, 1, "(null)"},  // half a pair
                     {6, 0, ""},
                     {5, 6, "z"},  // cut at the end
                     {0, 7, ""},
                     {1, UINT32_MAX, ""},
                     {UINT32_MAX, 1, ""}};
  for (const auto& c : cases)
    EXPECT_EQ(Read(text.Mid(c.start, c.count)), c.part) << c.start << " " << c.count;
  EXPECT_EQ(Read(FTPSStringDataInc(text, 0)), Read(text));
  EXPECT_EQ(Read(FTPSStringDataInc(text, 5)), "z");
  EXPECT_EQ(Read(FTPSStringDataInc(text, 6)), "");
  EXPECT_EQ(Read(FTPSStringDataInc(text, 7)), "");
  EXPECT_EQ(Read(FTPSStringDataInc(CFTPSStringData(), 0)), "");
}

TEST(CFTPSStringData, StaysWholeWhenItsPartTakesItsPlace) {
  CFTPSStringData text = Utf8("some text that is too long for a small buffer");
  text.InitWithUtf8(text.GetPtrUtf8() + 5);
  EXPECT_EQ(Read(text), "text that is too long for a small buffer");
  text = FTPSStringDataInc(text, 5);
  EXPECT_EQ(Read(text), "that is too long for a small buffer");
}

int Sign(int value) {
  return (value > 0) - (value < 0);
}

TEST(CFTPSStringData, ComparesWithoutCaseAllOrTheFirstUnits) {
  struct {
    const char *a, *b;
    int order;
    std::uint32_t count = UINT32_MAX;
  } const cases[] = {{".WAV", ".wav", 0},
                     {"\u00C9\u00FC\u042F\u03A3", "\u00E9\u00DC\u044F\u03C2", 0},
                     {"stra\u00DFe", "STRASSE", 0},
                     {"\uFB01", "FI", 0},
                     {"b", "A", 1},
                     {"ab", "abc", -1},
                     {"", "a", -1},
                     {"\uFFFD", "\U00010000", -1},
                     {"\xFF", "", -1},  // undecodable comes first
                     {"\xFF", "\xFE", 0},
                     {"abcd", "ABxx", 0, 2},
                     {"abcd", "ABxx", -1, 3},
                     {"ab", "ABC", 0, 2},
                     {"ab", "ABC", -1, 3},
                     {"abc", "ABC", 0, 99},
                     {"x", "y", 0, 0},
                     {"\xFF", "y", -1, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " " + c.b + " " + std::to_string(c.count));
    EXPECT_EQ(Sign(FTPSStringDataCmpni(Utf8(c.a), Utf8(c.b), c.count)), c.order);
    EXPECT_EQ(Sign(FTPSStringDataCmpni(Utf8(c.b), Utf8(c.a), c.count)), -c.order);
    if (c.count == UINT32_MAX) EXPECT_EQ(Sign(FTPSStringDataCmpi(Utf8(c.a), Utf8(c.b))), c.order);
  }
}

}  // namespace
}  // namespace kelo
