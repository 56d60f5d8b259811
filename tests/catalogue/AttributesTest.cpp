// The attributes of a tag, well-formed and odd.
#include <gtest/gtest.h>

#include <map>

#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "text/XMLElements.h"

namespace kelo::testing {
namespace {

TEST(Attributes, OfAnItem) {
  KELOAccessCacheManager cache;
  const HierarchyLoader loader(cache);
  const struct {
    const char* item;
    const char* expected;  // result, id, name, dates, URLs, format; joined with '|'
  } cases[] = {
      {R"(<item itemId="i" fileName="n" modifyDate="m" shotDate="s" exif.36867="e" uploadDate="u" )"
       R"(screenUrl="c" origUrl="o" fileFormat="image/jpeg"/>)",
       "1|i|n|m|s|u|c|o|1"},
      {R"(<item itemId="i" exif.36867="2009:01:02 03:04:05"/>)",
       "1|i|||2009:01:02 03:04:05||||4099"},
      {R"(<item itemId="i" shotDate="" exif.36867="e"/>)",
       "1|i|||||||4099"},  // absent is not empty
      {R"(<item itemId="i"><tag fileName="no"/></item>)", "1|i|||||||4099"},
      {R"(<item fileName="n &amp; &#x3042;" itemId="i"/>)", "1|i|n &amp; &#x3042;||||||4099"},
      {"<item\titemId=\"i\" fileName='x'/ uploadDate=\"u\"/>", "1|i|||||||4099"},
      {R"(<item itemId='i'/>)", "0|old|||||||0"},
      {R"(<item itemId = "i"/>)", "0|old|||||||0"},
      {R"(<item fileName="n"/>)", "0|old|||||||0"},
      {R"(<item itemId="" fileName="n"/>)", "0|old|||||||0"},
      {R"(<item itemId="never closed)", "0|old|||||||0"},
      {"<item", "0|old|||||||0"},
      {"", "0|old|||||||0"},
  };
  for (const auto& c : cases) {
    std::string_view id = "old";
    tagFileItemData data;
    XMLTag tag;
    XMLTagReader(c.item).Next(tag);
    const bool found = loader.ExtractFileItemInfo(tag.attributes, id, data);
    std::string all = std::to_string(found) + "|" + std::string(id);
    for (const std::string_view text : {data.fileName, data.modifyDate, data.shotDate,
                                        data.uploadDate, data.screenUrl, data.origUrl})
      all.append("|").append(text);
    EXPECT_EQ(all + "|" + std::to_string(data.fileFormat), c.expected) << c.item;
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
}  // namespace kelo::testing
