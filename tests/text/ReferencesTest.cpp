// Texts across the XML boundary: the deliberate oddities, and sameness with the step-by-step
// conversions.
#include <gtest/gtest.h>

#include <random>

#include "text/ReferenceModel.h"
#include "text/XMLUtility.h"

namespace kelo {
namespace {

using namespace std::string_literals;

using namespace model;

const Text kFails;

// The same whatever the C library and the width of its longs, and other than the steps below where
// that library reads "0b".
TEST(References, NumbersAreReadAlikeEverywhere) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"A", {"65", "0x41", "x41", "0X41", "0101", " \t\v65", "+65", "65a", "65601", "4294967361"}},
      {"\u00B1", {"177", "x0b1", "0xB1"}},
      {"\uFFBF", {"-65", "18446744073709551551"}},
      {"\uFFFF", {"18446744073709551616", "-18446744073709551681", "x10000000000000041"}},
      {"", {"0b1", "x0x41", "xx41", "X41", "x-41", "x 41", "0x", "09", "0xg", "- 65", "+-65", " "}},
  };
  for (const auto& [text, numbers] : cases)
    for (const char* number : numbers)
      EXPECT_EQ(Convert(kFromCharacter, std::string("&#") + number + ";"), text) << number;
}

TEST(References, InvalidUtf8IsNeverRepaired) {
  for (const char* bad :
       {"\x80", "a\xC3", "\xC0\xAF", "\xE3\x81", "\xED\xA0\x80", "\xF4\x90\x80\x80",
        "\xF8\x88\x80\x80\x80", "\u00E9\xFF", "e\u0301\xFF"}) {
    EXPECT_EQ(Convert(kEncode, bad), kFails) << bad;
    EXPECT_EQ(Convert(kToCharacter, bad), kFails) << bad;
    EXPECT_EQ(Convert(kDecode, bad), kFails) << bad;
    EXPECT_EQ(Convert(kFromCharacter, bad), bad) << "passed through as it stands";
    EXPECT_EQ(Convert(kToEntity, bad), bad) << "passed through as it stands";
  }
}

TEST(References, OutputMayBeTheInput) {
  for (const auto& [conversion, steps] : kConversions) {
    const std::string input = "text beyond any small buffer: e\u0301 \u65E5\u672C &amp; &#65;";
    std::string text = input;
    ASSERT_EQ((XMLUtility().*conversion)(text, text), 1u);
    EXPECT_EQ(text, Convert(conversion, input));
  }
}

// Texts of whole tokens, so that references and their halves meet often.
std::string RandomText(std::mt19937& random) {
  static const std::string kTokens[] = {
      "&",        "#",        "&#",      ";",      "&#65;",        "&#x",
      "41",       "065",      "-1",      "X",      "&amp;",        "amp;",
      "lt;",      "&gt;",     "quot;",   "&quot;", "&apos;",       "apos;",
      "\r",       "\n",       "<",       ">",      "\"",           "'",
      "a",        " ",        "e\u0301", "\u65E5", "\u304B\u3099", "\U0001F600",
      "&#55357;", "&#56832;", "&#0;",    "\0"s,    "\xC3",         "0",
      "x",        "601",      "&#101;",  "&#769;"};
  std::string text;
  for (std::size_t tokens = random() % 12; tokens > 0; --tokens)
    text += kTokens[random() % std::size(kTokens)];
  return text;
}

TEST(References, RandomTextsAgreeWithTheStepByStepConversions) {
  std::mt19937 random(19700101);
  int converted[std::size(kConversions)] = {};
  for (int i = 0; i < 50000; ++i) {
    const std::string text = RandomText(random);
    for (std::size_t k = 0; k < std::size(kConversions); ++k) {
      const Text result = Convert(kConversions[k].first, text);
      ASSERT_EQ(result, kConversions[k].second(text))
          << "conversion " << k << " input «" << text << "»";
      converted[k] += result ? 1 : 0;
    }
  }
  for (const int count : converted)
    EXPECT_GT(count, 10000) << "too few of the random texts were convertible";
}

}  // namespace
}  // namespace kelo
