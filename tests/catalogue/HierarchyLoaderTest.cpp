// Loading answers, well-formed and odd, into the cache.
#include "catalogue/HierarchyLoader.h"

#include <gtest/gtest.h>

#include <chrono>

#include "catalogue/CacheReader.h"

namespace kelo::test {
namespace {

// What the cache holds, as "parent/kind:id=name" of each entry in the service's order.
std::string Dump(KELOAccessCacheManager& cache) {
  constexpr uint32_t kAll = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem;
  std::string out;
  const auto list = [&](const std::string& target, const auto& self) -> void {
    for (const tagKELO_ItemInfo& record : RecordsOnTarget(cache, target, kAll)) {
      const std::string id(ReadTextField(record.itemId));
      out += target + "/" + std::to_string(record.kind) + ":" + id + "=" + record.name + " ";
      if (record.kind & (kKELOKind_Folder | kKELOKind_Album)) self(id, self);
    }
  };
  list("", list);
  for (const tagKELO_ItemInfo& record : RecordsOnTarget(cache, kRootAlbumID, kAll)) {
    out += std::string("rootAlbum/") + record.itemId + "=" + record.name + " ";
  }
  for (const tagKELO_ItemInfo& record : RecordsOnServer(cache, kKELOKind_FriendAlbum)) {
    out += std::string("friend:") + record.itemId + "=" + record.name + " ";
    list(record.itemId, list);
  }
  return out;
}

struct AnswerCase {
  const char* what;
  std::string answer;
  const char* cached;
};

class Loading : public ::testing::Test {
 protected:
  KELOAccessCacheManager cache;
  HierarchyLoader loader{cache};
};

TEST_F(Loading, Hierarchy) {
  const AnswerCase cases[] = {
      {"everything",
       R"(<?xml?><response stat="ok"><rootAlbum itemsCount="1"><items><item itemId="r" fileName="R"/>)"
       R"(</items></rootAlbum><folders><folder folderId="f" folderName="F" albumCount="1"><albums>)"
       R"(<album albumId="a" albumName="A" shareFlag="true" itemsCount="2"><items>)"
       R"(<item itemId="2" fileName="two"/><item itemId="1" fileName="one"/></items></album>)"
       R"(</albums></folder></folders><albums><album albumId="t" albumName="T" shareFlag="false">)"
       R"(<items><item itemId="3" fileName="three"/></items></album></albums></response>)",
       "/1:f=F f/258:a=A a/4:2=two a/4:1=one /2:t=T t/4:3=three rootAlbum/r=R "},
      {"albums before the folders",
       R"(<albums><album albumId="t"></album></albums><folders><folder folderId="f"><albums>)"
       R"(<album albumId="a"></album></albums></folder></folders>)",
       "/1:f= f/2:a= /2:t= "},
      {"albums on both sides of the folders",
       R"(<albums><album albumId="t"></album><folders><folder folderId="f"><albums>)"
       R"(<album albumId="a"></album></albums></folder></folders><album albumId="u"></album></albums>)",
       "/1:f= f/2:a= /2:t= /2:u= "},
      {"counts of 0 hide what is there",
       R"(<folders><folder folderId="f" albumCount="0"><albums><album albumId="a"></album></albums>)"
       R"(</folder></folders><albums><album albumId="t" itemsCount="0"><items><item itemId="1"/>)"
       R"(</items></album></albums>)",
       "/1:f= /2:t= "},
      {"absent counts hide nothing, and nested counts are not the element's own",
       R"(<folders><folder folderId="f"><albums><album albumId="a" itemsCount="0"></album></albums>)"
       R"(</folder></folders><albums><album albumId="t"><items><item itemId="1" itemsCount="0" )"
       R"(albumName="x" shareFlag="true"/></items></album></albums>)",
       "/1:f= f/2:a= /2:t= t/4:1= "},
      {"empty elements end in their opening tag",
       R"(<folders><folder folderId="f" albumCount="0"/><folder folderId="g"><albums>)"
       R"(<album albumId="e"/><album albumId="a"></album></albums></folder></folders>)",
       "/1:f= /1:g= g/2:e= g/2:a= "},
      {"quoted markup in names",
       R"(<folders><folder folderName="a > b / c" folderId="f"></folder></folders>)"
       R"(<albums><album albumName="x/>" albumId="t"></album></albums>)",
       "/1:f=a > b / c /2:t=x/> "},
      {"similar names, other elements and repeated attributes",
       R"(<albums><album xalbumId="no" albumId="t" albumId="u" albumName="T"><items>)"
       R"(<item xitemId="no" fileName="no"/><items><item itemId="1" fileName="one" fileName="x"/>)"
       R"(</items></album><albumless albumId="no"></albumless></albums>)",
       "/2:t=T t/4:1=one "},
      {"without ids",
       R"(<folders><folder folderName="F"><albums><album albumId="a"></album></albums></folder>)"
       R"(</folders><albums><album albumId="" albumName="T"><items><item itemId="1"/></items></album>)"
       R"(<album albumId="u"><items><item fileName="x"/><item itemId=""/><item itemId="2"/></items>)"
       R"(</album></albums><rootAlbum><item fileName="y"/></rootAlbum>)",
       "/2:u= u/4:2= "},
      {"blanks and line breaks",
       "<albums>\n<album  albumId=\"t\"\n\talbumName=\"T\" >\n<items>\n<item  itemId=\"1\"\r\n"
       "fileName=\"one\" />\n</items></album>\n</albums>",
       "/2:t=T t/4:1=one "},
      {"an item that holds its end in a value is cut there",
       R"(<rootAlbum><item itemId="1" fileName="a/>b" /><item itemId="2" fileName="c"/></rootAlbum>)",
       "rootAlbum/1= rootAlbum/2=c "},
      {"the same items again",
       R"(<rootAlbum><item itemId="1" fileName="a"/><item itemId="2"/><item itemId="1" fileName="b"/>)"
       R"(</rootAlbum>)",
       "rootAlbum/2= rootAlbum/1=b "},
      {"cut within an item",
       R"(<folders></folders><albums><album albumId="t"><items><item itemId="1"/><item itemId="2)",
       ""},
      {"cut within a folder",
       R"(<folders><folder folderId="f"><albums><album albumId="a"></album></albums></folders>)",
       ""},
      {"without quotes", "<albums><album albumId=t albumName=T></album></albums>", ""},
      {"an end before its beginning", "</albums><albums><album albumId=\"t\"></album>", ""},
      {"not XML", "<<<\"\"\">>>/>=\"\" ok", ""},
      {"empty", "", ""},
  };
  for (const AnswerCase& c : cases) {
    SCOPED_TRACE(std::string(c.what) + "\n" + c.answer);
    EXPECT_EQ(loader.RefreshHierarchyInfoByXMLData(c.answer), uint32_t{kKELOResult_Success});
    EXPECT_EQ(Dump(cache), c.cached);
  }
}

TEST_F(Loading, FriendAlbums) {
  loader.RefreshHierarchyInfoByXMLData("");
  const std::string answer =
      R"(<response stat="ok"><albums><album albumId="y" albumName="Y" itemsCount="2"><items>)"
      R"(<item itemId="2" fileName="two"/><item itemId="1" fileName="one"/></items></album>)"
      R"(<album albumId="z" itemsCount="0"><items><item itemId="3"/></items></album>)"
      R"(<album albumName="no id"><items><item itemId="4"/></items></album>)"
      R"(<album albumId="x" albumName="X"/></albums></response>)";
  EXPECT_EQ(loader.RefreshFriendAlbumInfoByXMLData(answer), uint32_t{kKELOResult_Success});
  EXPECT_EQ(Dump(cache), "friend:x=X friend:y=Y y/4:2=two y/4:1=one friend:z= ");
  EXPECT_EQ(loader.RefreshFriendAlbumInfoByXMLData("nothing"), uint32_t{kKELOResult_Success});
}

TEST_F(Loading, ItemAttributes) {
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

TEST_F(Loading, AttributeWalk) {
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
      {R"(a=1 b="2")", 1, {{"a=1 b", "2"}}},  // a name runs to the next equals sign with a quote
      {R"(a="1" b="2)", 1, {{"a", "1"}}},
      {R"(a="1" b)", 1, {{"a", "1"}}},
  };
  for (const auto& c : cases) {
    std::map<std::string_view, std::string_view> attributes;
    EXPECT_EQ(HierarchyLoader::ExtractFileItemAttribute(c.tag, attributes), c.result) << c.tag;
    EXPECT_EQ(attributes, c.attributes) << c.tag;
  }
}

std::string Repeat(const std::string& text, size_t times) {
  std::string out;
  for (size_t i = 0; i < times; ++i) out += text;
  return out;
}

// Each of these took time that grows with the square of its length, or a stack as deep as the
// nesting, if elements were looked for without care: minutes, where a second is plenty.
TEST_F(Loading, OddLargeAnswersTakeLinearTime) {
  const size_t n = 300000;
  const std::string folders = "<folders>";
  const std::string end = "</folders>";
  const std::string answers[] = {
      folders + Repeat("<folder ", n) + end,
      folders + Repeat("<folder x>", n) + "</folder>" + end,
      folders + Repeat("<folder x></folder>", n) + end,
      folders + Repeat("<folder \"", n) + end,
      folders + Repeat("<folder folderId=\"f\"><albums>", n) + Repeat("</albums></folder>", n) +
          end,
      folders + Repeat("<folder folderId=\"f\"/>", n) + end,
      Repeat("<albums><album albumId=\"a\">", n) + Repeat("</album></albums>", n),
      "<albums>" + Repeat("<album albumId=\"a\"></album>", n) + "</albums>",
      "<albums>" + Repeat("<album a=\"", n) + "</albums>",
      "<rootAlbum>" + Repeat("<item ", n) + "</rootAlbum>",
      "<rootAlbum>" + Repeat("<item itemId=\"i\"/>", n) + "</rootAlbum>",
      "<rootAlbum><item " + Repeat("a=", n) + "/></rootAlbum>",
      Repeat("<folders><albums><rootAlbum>", n),
      Repeat("</folders></albums></rootAlbum>", n),
  };
  for (const std::string& answer : answers) {
    const auto start = std::chrono::steady_clock::now();
    loader.RefreshHierarchyInfoByXMLData(answer);
    loader.RefreshFriendAlbumInfoByXMLData(answer);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    EXPECT_LT(taken.count(), 10) << answer.substr(0, 60);
  }
}

}  // namespace
}  // namespace kelo::test
