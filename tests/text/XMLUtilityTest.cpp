// The search rules and replacement against their model, what becomes of the outputs, and the
// attributes of a tag, well-formed and odd.
#include "text/XMLUtility.h"

#include <gmock/gmock.h>

#include <map>
#include <random>

#include "text/XMLElements.h"
#include "text/XMLModel.h"
#include "text/XMLSearch.h"

namespace kelo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const XMLUtility kXml;
const std::string kOld = "old";  // what an output holds before the call

struct KeyCase {
  const char* source;
  const char* start;
  const char* end;
  std::uint32_t result;
  const char* value;
};

std::ostream& operator<<(std::ostream& out, const KeyCase& c) {
  return out << "source " << c.source << " start " << c.start << " end " << c.end;
}

// One of the operations that give one value; the last two keys may go unused.
using Operation = std::uint32_t (*)(const KeyCase& c, std::string& out);

void Check(Operation operation, std::initializer_list<KeyCase> cases) {
  for (const KeyCase& c : cases) {
    std::string out = kOld;
    EXPECT_EQ(operation(c, out), c.result) << c;
    EXPECT_EQ(out, c.value) << c;
  }
}

// The rules themselves are compared with the model below; here is what becomes of the output.
TEST(XMLUtility, OneValue) {
  Check(
      [](const KeyCase& c, std::string& out) {
        return kXml.GetValueForOutermostKey(c.source, c.start, c.end, out);
      },
      {
          {"<a><b>1</b><b>2</b></a>", "<b>", "</b>", 1, "1</b><b>2"},
          {"]x[y", "[", "]", 0, ""},      // the end key stands before the start key only
          {"aba", "ab", "ba", 0, "old"},  // shorter than both keys: untouched
          {"", "[", "]", 0, "old"},
          {"[x]", "", "]", 0, ""},
          {"[x]", "[", "", 0, ""},
      });
  Check([](const KeyCase& c,
           std::string& out) { return kXml.GetValueForOutermostTag(c.source, c.start, out); },
        {
            {"<a><b>1</b><b>2</b></a>", "b", "", 1, "1</b><b>2"},
            {"<b id=\"1\">1</b>", "b", "", 0, ""},  // the open key has no attributes
            {"<B>1</B>", "b", "", 0, ""},
            {"", "b", "", 0, ""},
        });
  Check([](const KeyCase& c,
           std::string& out) { return kXml.GetValuesInsideKey(c.source, c.start, c.end, out); },
        {
            {"a[x]y]", "[", "]", 1, "x"},
            {"xy]z", "[", "]", 1, "xy"},  // a missing start key begins at the start
            {"xyz", "[", "]", 0, ""},
            {"", "[", "]", 0, ""},
        });
  Check(
      [](const KeyCase& c, std::string& out) { return kXml.GetAttribute(c.source, c.start, out); },
      {
          {"<x a=\"1\" b=\"2\"/>", "b", "", 1, "2"},
          {"<x a=\"1\" b=\"2\"/>", "c", "", 1, "<x a="},      // absent: up to the first quote
          {"<x albumid=\"1\" id=\"2\"/>", "id", "", 1, "1"},  // matched as a substring
          {"<x a=\"&amp;&#9;\"/>", "a", "", 1, "&amp;&#9;"},  // raw
          {"<x a='1'/>", "a", "", 0, ""},                     // no quote at all
          {"a=", "a", "", 0, ""},                             // shorter than both keys
          {"", "a", "", 0, "old"},
          {"<x a=\"1\"/>", "", "", 0, "old"},
      });
  Check(
      [](const KeyCase& c, std::string& out) {
        kXml.GetValueInsideCDATA(c.source, out);
        return 0u;
      },
      {
          {"<m><![CDATA[x]>]]></m><![CDATA[y]]>", "", "", 0, "x]>"},
          {"<![CDATA[x", "", "", 0, ""},
          {"", "", "", 0, ""},
      });
}

TEST(XMLSearch, PresentAttributeTellsAbsentFromEmpty) {
  EXPECT_EQ(FindPresentAttribute("<x a=\"\" b=\"2\"/>", "a"), "");
  EXPECT_EQ(FindPresentAttribute("<x a=\"\" b=\"2\"/>", "b"), "2");
  EXPECT_EQ(FindPresentAttribute("<x a=\"\" b=\"2\"/>", "c"), std::nullopt);
  EXPECT_EQ(FindPresentAttribute("<x a=\"", "a"), std::nullopt);
  EXPECT_EQ(FindPresentAttribute("", "a"), std::nullopt);
}

TEST(XMLSearch, VisitorEndsTheWalk) {
  int visits = 0;
  ForEachInside("[1][2][3]", "[", "]", [&](std::string_view) { return ++visits < 2; });
  EXPECT_EQ(visits, 2);
}

TEST(XMLUtility, ListsAppendOrClearFirst) {
  const std::string source = "<i id=\"1\">x</i><i>y</i><i id=\"2\"></i><i/>";
  std::vector<std::string> out{kOld};
  kXml.GetValuesInsideKeys(source, "<i>", "</i>", out);
  EXPECT_THAT(out, ElementsAre("old", "y"));
  kXml.GetValuesBetweenKeys(source, "<i id", "</i>", out);
  EXPECT_THAT(out, ElementsAre("old", "y", "<i id=\"1\">x</i>", "<i id=\"2\"></i>"));
  kXml.GetValuesForTag(source, "i", out);
  EXPECT_THAT(out, ElementsAre("y"));
  kXml.GetAttributes(source, "id", out);
  EXPECT_THAT(out, ElementsAre("1", "2"));
  kXml.GetValuesWithElement(source, "i", out);
  EXPECT_THAT(out, ElementsAre("<i id=\"1\">x</i>", "<i id=\"2\"></i>"));
  kXml.GetValuesWithElement("<i>x</i>", "i", out);
  EXPECT_THAT(out, IsEmpty());
  // A self-closing element runs up to a later close key.
  kXml.GetValuesWithElement("<i a=\"1\"/><i a=\"2\">x</i>", "i", out);
  EXPECT_THAT(out, ElementsAre("<i a=\"1\"/><i a=\"2\">x</i>"));
}

TEST(XMLUtility, ListsWithNothingToFind) {
  std::vector<std::string> out{kOld};
  kXml.GetValuesInsideKeys("[x", "[", "]", out);
  kXml.GetValuesBetweenKeys("[x]", "", "]", out);
  EXPECT_THAT(out, ElementsAre("old"));
  kXml.GetValuesForTag("<i>x", "i", out);
  EXPECT_THAT(out, IsEmpty());
  out = {kOld};
  kXml.GetAttributes("<i =\"1\">", "", out);
  EXPECT_THAT(out, IsEmpty());
  out = {kOld};
  kXml.GetValuesWithElement("x", "i", out);
  EXPECT_THAT(out, IsEmpty());
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

std::string RandomText(std::mt19937& random, std::size_t longest) {
  static constexpr std::string_view kLetters = "<>/ab =\"";
  std::string text(random() % (longest + 1), ' ');
  for (char& c : text) c = kLetters[random() % kLetters.size()];
  return text;
}

TEST(XMLUtility, RandomTextsAgreeWithTheModel) {
  std::mt19937 random(20010101);
  for (int i = 0; i < 50000; ++i) {
    const std::string source = RandomText(random, 40);
    const std::string start = RandomText(random, 3);
    const std::string end = RandomText(random, 3);
    SCOPED_TRACE(testing::Message()
                 << "source «" << source << "» start «" << start << "» end «" << end << "»");
    ASSERT_EQ(FindOutermost(source, start, end), model::Outermost(source, start, end));
    ASSERT_EQ(FindInside(source, start, end), model::Inside(source, start, end));
    std::vector<std::string> inside;
    kXml.GetValuesInsideKeys(source, start, end, inside);
    ASSERT_EQ(inside, model::All(source, start, end, false));
    std::vector<std::string> between;
    kXml.GetValuesBetweenKeys(source, start, end, between);
    ASSERT_EQ(between, model::All(source, start, end, true));
    std::string replaced;
    kXml.ReplaceAllString(source, start, end, replaced);
    ASSERT_EQ(replaced, model::Replace(source, start, end));
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
