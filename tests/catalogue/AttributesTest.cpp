// The attributes of a tag, well-formed and odd.
#include <gtest/gtest.h>

#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"

namespace kelo::test {
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
      {R"( itemId="i" exif.36867="2009:01:02 03:04:05")", "1|i|||2009:01:02 03:04:05||||4099"},
      {R"(itemId="i" shotDate="" exif.36867="e")", "1|i|||||||4099"},  // absent is not empty
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
    std::string id = "old";
    tagFileItemData data;
    const uint32_t result = loader.ExtractFileItemInfo(c.item, id, data);
    std::string all = std::to_string(result) + "|" + id;
    for (const std::string* text : {&data.fileName, &data.modifyDate, &data.shotDate,
                                    &data.uploadDate, &data.screenUrl, &data.origUrl}) {
      all += "|" + *text;
    }
    EXPECT_EQ(all + "|" + std::to_string(data.fileFormat), c.expected) << c.item;
  }
}

TEST(Attributes, AreReadEachOnItsOwn) {
  const struct {
    const char* tag;
    uint32_t result;
    std::map<std::string_view, std::string_view> attributes;
  } cases[] = {
      {"", 0, {}},
      {"   ", 1, {}},
      {R"(a="1"b="2")", 1, {{"a", "1"}, {"b", "2"}}},
      {R"(a="1" a="2" b="")", 1, {{"a", "1"}, {"b", ""}}},
      {R"(a="1" / b="2")", 1, {{"a", "1"}}},
      {R"(a="1"> b="2")", 1, {{"a", "1"}}},
      {R"(a="/>" b="x=y")", 1, {{"a", "/>"}, {"b", "x=y"}}},
      {R"(a=1 b="2" c b="3")", 1, {{"b", "2"}}},
      {R"(a = "1" b= "2" c ="3" d="4")", 1, {{"d", "4"}}},
      {R"(a='"' b="'" c='1" d='2' e="5")", 1, {{"b", "'"}, {"e", "5"}}},
      {R"(a='1 b="2")", 1, {{"b", "2"}}},
      {R"("a="1" ="2" '' b="3")", 1, {{"a", "1"}, {"b", "3"}}},
      {R"(a="1" b="2)", 1, {{"a", "1"}}},
      {R"(a="1" b)", 1, {{"a", "1"}}},
  };
  for (const auto& c : cases) {
    std::map<std::string_view, std::string_view> attributes;
    EXPECT_EQ(HierarchyLoader::ExtractFileItemAttribute(c.tag, attributes), c.result) << c.tag;
    EXPECT_EQ(attributes, c.attributes) << c.tag;
  }
}

}  // namespace
}  // namespace kelo::test
