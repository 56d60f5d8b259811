// The search rules and replacement against their model, what becomes of the outputs, and the
// attributes of a tag, well-formed and odd; and references.
#include "text/XMLUtility.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <span>

#include "text/ReferenceModel.h"
#include "text/XMLElements.h"
#include "text/XMLModel.h"

namespace kelo {
namespace {

using namespace model;
using namespace std::string_literals;

TEST(XMLUtility, ASectionIsThatOfTheFirstOne) {
  const std::pair<const char*, const char*> cases[] = {
      {"<m><![CDATA[x]>]]></m><![CDATA[y]]>", "x]>"}, {"<![CDATA[x", ""}, {"", ""}};
  for (const auto& [source, section] : cases) {
    std::string out = "old";
    XMLUtility().GetValueInsideCDATA(source, out);
    EXPECT_EQ(out, section) << source;
  }
}

// Texts of whole tokens, so that they and their halves meet often.
std::string RandomText(std::mt19937& random, std::span<const std::string> tokens, size_t longest) {
  std::string text;
  for (size_t count = random() % (longest + 1); count > 0; --count)
    text += tokens[random() % tokens.size()];
  return text;
}

TEST(XMLUtility, RandomTextsAgreeWithTheModel) {
  static const std::string kTokens[] = {"<", ">", "/",   "a",    " ",   "=",
                                        "b", "]", "<a>", "</a>", "<a ", "a=\""};
  std::mt19937 random(20010101);
  for (int i = 0; i < 20000; ++i) {
    const std::string source = RandomText(random, kTokens, 20);
    const std::string start = RandomText(random, kTokens, 2);
    const std::string end = RandomText(random, kTokens, 2);
    ASSERT_EQ(model::Disagreement(source, start, end), "")
        << "source «" << source << "» start «" << start << "» end «" << end << "»";
  }
}

TEST(Attributes, AreReadEachOnItsOwn) {
  const struct {
    const char* tag;
    std::map<std::string_view, std::string_view> attributes;
  } cases[] = {
      {"", {}},
      {"   ", {}},
      {R"(a="1"b="2")", {{"a", "1"}, {"b", "2"}}},
      {R"(a="1" a="2" b="")", {{"a", "1"}, {"b", ""}}},
      {R"(a="1" / b="2")", {{"a", "1"}}},
      {R"(a="1"> b="2")", {{"a", "1"}}},
      {R"(a="/>" b="x=y")", {{"a", "/>"}, {"b", "x=y"}}},
      {R"(a=1 b="2" c b="3")", {{"b", "2"}}},
      {R"(a = " x=" b= "2" c ="3" d="4")", {{"d", "4"}}},
      {R"(a='"' b="'" c='1 e="6"' d='2' e="5")", {{"b", "'"}, {"e", "5"}}},
      {R"(a='1 b="2")", {{"b", "2"}}},
      {R"("a="1" ="2" '' b="3")", {{"a", "1"}, {"b", "3"}}},
      {R"(a="1" b="2)", {{"a", "1"}}},
      {R"(a="1" b)", {{"a", "1"}}},
  };
  for (const auto& c : cases) {
    std::map<std::string_view, std::string_view> attributes;
    std::string_view rest = c.tag;
    XMLAttribute attribute;
    while (NextAttribute(rest, attribute)) attributes.emplace(attribute.name, attribute.value);
    EXPECT_EQ(attributes, c.attributes) << c.tag;
  }
}

// Texts across the XML boundary: the deliberate oddities, and sameness with the step-by-step
// conversions.

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
    EXPECT_EQ(Convert(kEncode, bad), std::nullopt) << bad;
    EXPECT_EQ(Convert(kToCharacter, bad), std::nullopt) << bad;
    EXPECT_EQ(Convert(kDecode, bad), std::nullopt) << bad;
    EXPECT_EQ(Convert(kFromCharacter, bad), bad) << "passed through as it stands";
    EXPECT_EQ(Convert(kToEntity, bad), bad) << "passed through as it stands";
  }
}

TEST(References, RandomTextsAgreeWithTheStepByStepConversions) {
  static const std::string kTokens[] = {
      "&",        "#",        "&#",      ";",      "&#65;",        "&#x",
      "41",       "065",      "-1",      "X",      "&amp;",        "amp;",
      "lt;",      "&gt;",     "quot;",   "&quot;", "&apos;",       "apos;",
      "\r",       "\n",       "<",       ">",      "\"",           "'",
      "a",        " ",        "e\u0301", "\u65E5", "\u304B\u3099", "\U0001F600",
      "&#55357;", "&#56832;", "&#0;",    "\0"s,    "\xC3",         "0",
      "x",        "601",      "&#101;",  "&#769;"};
  std::mt19937 random(19700101);
  int converted[std::size(kConversions)] = {};
  for (int i = 0; i < 50000; ++i) {
    const std::string text = RandomText(random, kTokens, 11);
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
