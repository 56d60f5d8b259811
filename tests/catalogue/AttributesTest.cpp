// The attributes of a tag, well-formed and odd.
#include <gtest/gtest.h>

#include <map>

#include "text/XMLElements.h"

namespace kelo::testing {
namespace {

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
}  // namespace kelo::testing
