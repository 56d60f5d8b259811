// The search rules and replacement against their model, what becomes of the outputs, and the
// attributes of a tag, well-formed and odd.
#include "text/XMLUtility.h"

#include <gmock/gmock.h>

#include <map>
#include <random>

#include "text/XMLElements.h"
#include "text/XMLModel.h"

namespace kelo {
namespace {

using testing::ElementsAre;

const XMLUtility kXml;
const std::string kOld = "old";  // what an output holds before the call

TEST(XMLUtility, ASectionIsThatOfTheFirstOne) {
  const std::pair<const char*, const char*> cases[] = {
      {"<m><![CDATA[x]>]]></m><![CDATA[y]]>", "x]>"}, {"<![CDATA[x", ""}, {"", ""}};
  for (const auto& [source, section] : cases) {
    std::string out = kOld;
    kXml.GetValueInsideCDATA(source, out);
    EXPECT_EQ(out, section) << source;
  }
}

// Callers narrow a text in place, so that the output is the text that is searched.
TEST(XMLUtility, OutputMayHoldTheSource) {
  const std::string source =
      "<list><i id=\"a long identifier beyond any small buffer\">x</i></list>";
  std::string text = source;
  EXPECT_EQ(kXml.GetValueForOutermostTag(text, "list", text), 1u);
  EXPECT_EQ(kXml.GetAttribute(text, "id", text), 1u);
  EXPECT_EQ(text, "a long identifier beyond any small buffer");
  kXml.ReplaceAllString(text, "long", text, text);
  EXPECT_EQ(text.size(), 41u - 4u + 41u);

  std::vector<std::string> list{source};
  kXml.GetValuesWithElement(list[0], "i", list);
  ASSERT_EQ(list.size(), 1u);
  list.shrink_to_fit();
  kXml.GetValuesInsideKeys(list[0], "\"", "\"", list);
  EXPECT_THAT(list, ElementsAre("<i id=\"a long identifier beyond any small buffer\">x</i>",
                                "a long identifier beyond any small buffer"));
}

// Of whole tokens, so that tags and attributes meet often.
std::string RandomText(std::mt19937& random, std::size_t longest) {
  static constexpr const char* kTokens[] = {"<", ">", "/",   "a",    " ",   "=",
                                            "b", "]", "<a>", "</a>", "<a ", "a=\""};
  std::string text;
  for (std::size_t tokens = random() % (longest + 1); tokens > 0; --tokens)
    text += kTokens[random() % std::size(kTokens)];
  return text;
}

TEST(XMLUtility, RandomTextsAgreeWithTheModel) {
  std::mt19937 random(20010101);
  for (int i = 0; i < 20000; ++i) {
    const std::string source = RandomText(random, 20);
    const std::string start = RandomText(random, 2);
    const std::string end = RandomText(random, 2);
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
      {R"(a = "1" b= "2" c ="3" d="4")", {{"d", "4"}}},
      {R"(a='"' b="'" c='1" d='2' e="5")", {{"b", "'"}, {"e", "5"}}},
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

}  // namespace
}  // namespace kelo
