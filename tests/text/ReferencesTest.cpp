// Texts across the XML boundary: the deliberate oddities, and sameness with the step-by-step
// conversions.
#include <gtest/gtest.h>

#include <random>

#include "text/ReferenceModel.h"
#include "text/XMLUtility.h"

namespace kelo {
namespace {

using namespace std::string_literals;

const XMLUtility kXml;

using Conversion = std::uint32_t (XMLUtility::*)(std::string_view, std::string&) const;

model::Text Convert(Conversion conversion, std::string_view text) {
  std::string out = "old";
  if ((kXml.*conversion)(text, out) == 0) {
    EXPECT_EQ(out, "") << "a failure leaves its output empty: " << text;
    return std::nullopt;
  }
  return out;
}

constexpr Conversion kEncode = &XMLUtility::ConvertStringUTF8ToReference;
constexpr Conversion kDecode = &XMLUtility::ConvertStringReferenceToUTF8;
constexpr Conversion kToEntity = &XMLUtility::ConvertStringUTF8ToEntityReference;
constexpr Conversion kFromEntity = &XMLUtility::ConvertStringEntityReferenceToUTF8;
constexpr Conversion kToCharacter = &XMLUtility::ConvertStringUTF8ToCharacterReference;
constexpr Conversion kFromCharacter = &XMLUtility::ConvertStringCharacterReferenceToUTF8;

struct Case {
  std::string text;
  model::Text expected;
};

void Check(Conversion conversion, const std::vector<Case>& cases) {
  for (const Case& c : cases)
    EXPECT_EQ(Convert(conversion, c.text), c.expected) << "input «" << c.text << "»";
}

const model::Text kFails;

// The oddities that are so on purpose. All the rest is in the step-by-step conversions below.
TEST(References, Encode) {
  Check(kEncode,
        {{"a<b & \"c\" 'd'>\r\n\t", "a&lt;b &amp; &quot;c&quot; &apos;d&apos;&gt;&#13;&#10;\t"},
         {"\u00E9", "&#233;"},
         {"e\u0301", "&#233;"},  // composed
         {"\u212B", "&#197;"},
         {"\U0001F600", "&#55357;&#56832;"},
         {"&lt;", "&amp;lt;"},
         {"\uFFFF\u0080\u007F", "&#65535;&#128;\x7F"},
         {"a\0b"s, "a"},
         {"\0b"s, kFails}});
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

TEST(References, Decode) {
  Check(kDecode, {{"&#065;", "5"},                        // octal
                  {"&#65601;", "A"},                      // cut to 16 bits
                  {"&#99999999999999999999;", "\uFFFF"},  // overflow
                  {"&#55357;&#;&#56832;", "\U0001F600"},  // an empty number adds nothing
                  {"&#55357;x&#56832;", kFails},          // lone surrogates
                  {"&#65;&#0;&#66;c&#67;", "AcC"},        // 0 ends the pending units
                  {"&#0;", kFails},                       // nothing left to decode
                  {"&#101;&#769;", "\u00E9"},
                  {"a&#12", "a12"},                       // loses its "&#"
                  {"&#&#65;b", "b"},                      // the number is "&#65", which reads as 0
                  {"&amp;lt;&amp;gt;&amp;apos;", "<>'"},  // decoded twice
                  {"&amp;quot;&amp;amp;", "&quot;&amp;"},
                  {"&LT;&lt&unknown;&", "&LT;&lt&unknown;&"},
                  {"&#38;lt;&#38;#65;", "<&#65;"},  // characters first
                  {"", kFails}});
}

TEST(References, OutputMayBeTheInput) {
  for (const Conversion conversion :
       {kEncode, kDecode, kToEntity, kFromEntity, kToCharacter, kFromCharacter}) {
    const std::string input = "text beyond any small buffer: e\u0301 \u65E5\u672C &amp; &#65;";
    std::string text = input;
    ASSERT_EQ((kXml.*conversion)(text, text), 1u);
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
  struct {
    Conversion conversion;
    model::Text (*steps)(const std::string&);
  } const pairs[] = {{kEncode, model::ToReferences},
                     {kDecode, model::FromReferences},
                     {kToEntity, model::ToEntities},
                     {kFromEntity, model::FromEntities},
                     {kToCharacter, model::ToCharacterReferences},
                     {kFromCharacter, model::FromCharacterReferences}};
  std::mt19937 random(19700101);
  int converted[std::size(pairs)] = {};
  for (int i = 0; i < 50000; ++i) {
    const std::string text = RandomText(random);
    for (std::size_t k = 0; k < std::size(pairs); ++k) {
      const model::Text result = Convert(pairs[k].conversion, text);
      ASSERT_EQ(result, pairs[k].steps(text)) << "conversion " << k << " input «" << text << "»";
      converted[k] += result ? 1 : 0;
    }
  }
  for (const int count : converted)
    EXPECT_GT(count, 10000) << "too few of the random texts were convertible";
}

}  // namespace
}  // namespace kelo
