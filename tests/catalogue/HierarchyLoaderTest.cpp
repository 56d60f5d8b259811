// Loading answers, well-formed and odd, into the cache.
#include "catalogue/HierarchyLoader.h"

#include <ctime>
#include <random>

#include "catalogue/CacheReader.h"

namespace kelo::testing {
namespace {

// What the cache holds, as "parent/kind:id=name" of each entry in the service's order, with "@" and
// the date of its modification where it has one.
std::string DateOf(const tagKELO_ItemInfo& record) {
  return record.modifyDate[0] == '\0' ? "" : std::string("@") + record.modifyDate;
}

std::string Dump(KELOAccessCacheManager& cache) {
  constexpr uint32_t kAll = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem;
  std::string out;
  const auto list = [&](const std::string& target, const auto& self) -> void {
    for (const tagKELO_ItemInfo& record : RecordsOnTarget(cache, target, kAll)) {
      const std::string id(ReadTextField(record.itemId));
      out += target + "/" + std::to_string(record.kind) + ":" + id + "=" + record.name;
      out += DateOf(record) + " ";
      if (record.kind & (kKELOKind_Folder | kKELOKind_Album)) self(id, self);
    }
  };
  list("", list);
  for (const tagKELO_ItemInfo& record : RecordsOnTarget(cache, kRootAlbumId, kAll))
    out += std::string("rootAlbum/") + record.itemId + "=" + record.name + " ";
  for (const tagKELO_ItemInfo& record : RecordsOnServer(cache, kKELOKind_FriendAlbum)) {
    out += std::string("friend:") + record.itemId + "=" + record.name + DateOf(record) + " ";
    list(record.itemId, list);
  }
  return out;
}

struct AnswerCase {
  const char* what;
  std::string answer;
  const char* cached;  // null for a broken answer
};

class Loading : public ::testing::Test {
 protected:
  void ExpectLoaded(const std::vector<AnswerCase>& cases) {
    for (const AnswerCase& c : cases) {
      SCOPED_TRACE(std::string(c.what) + "\n" + c.answer);
      const std::string before = Dump(cache);
      EXPECT_EQ(loader.RefreshHierarchyInfoByXMLData(c.answer), c.cached ? 0u : 4144u);
      EXPECT_EQ(Dump(cache), c.cached ? c.cached : before);
    }
  }

  KELOAccessCacheManager cache;
  HierarchyLoader loader{cache};
};

TEST_F(Loading, EachEntryStandsWhereTheAnswerHasIt) {
  ExpectLoaded({
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
  });
}

TEST_F(Loading, CountsAndFlagsAreTheElementsOwn) {
  ExpectLoaded({
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
      {"flags and counts in other words",
       R"(<folders><folder folderId="f" albumCount="00"><albums><album albumId="a" shareFlag="True" )"
       R"(itemsCount="00"><items><item itemId="1"/></items></album></albums></folder></folders>)",
       "/1:f= f/2:a= a/4:1= "},
      {"empty elements end in their opening tag",
       R"(<folders><folder folderId="f" albumCount="0"/><folder folderId="g"><albums>)"
       R"(<album albumId="e"/><album albumId="a"></album></albums></folder></folders>)",
       "/1:f= /1:g= g/2:e= g/2:a= "},
  });
}

TEST_F(Loading, AnOddAttributeCostsNoOther) {
  ExpectLoaded({
      {"similar names, other elements and repeated attributes",
       R"(<albums><album xalbumId="no" albumId="t" albumId="u" albumName="T"><items>)"
       R"(<item xitemId="no" fileName="no"/><items><item itemId="1" fileName="one" fileName="x"/>)"
       R"(</items></items></album><albumless albumId="no"></albumless></albums>)",
       "/2:t=T t/4:1=one "},
      {"without ids",
       R"(<folders><folder folderName="F"><albums><album albumId="a"></album></albums></folder>)"
       R"(</folders><albums><album albumId="" albumName="T"><items><item itemId="1"/></items></album>)"
       R"(<album albumId="u"><items><item fileName="x"/><item itemId=""/><item itemId="2"/></items>)"
       R"(</album></albums><rootAlbum><item fileName="y"/></rootAlbum>)",
       "/2:u= u/4:2= "},
      {"any white space behind names",
       "<folders\r\n><folder\r\nfolderId=\"f\"><albums\t><album\nalbumId=\"a\"\n\talbumName=\"A\" >"
       "<items\n><item\r\nitemId=\"1\"\r\nfileName=\"one\" /><item\titemId=\"2\"></item "
       "></items\r\n>"
       "</album\t></albums ></folder\n></folders><rootAlbum\t><item  itemId=\"r\"/></rootAlbum >",
       "/1:f= f/2:a=A a/4:1=one a/4:2= rootAlbum/r= "},
      {"the end of a tag within single quotes",
       R"(<albums><album albumId="t" albumName='x > y'/></albums>)", "/2:t= "},
      {"an odd quote costs its own attribute at most",
       R"(<albums><album albumName='5" disk' albumId="a"></album><album albumName="5" disk" albumId="b">)"
       R"(</album><album albumName=5" albumId="c"><items><item fileName='"/><item itemId="1"/>)"
       R"(<item itemId="2" fileName="it's"/><item fileName="x itemId="3"/><item itemId="4"/></items>)"
       R"(</album><album albumName="a<b" albumId="d"/><album albumName=it's albumId="e"/></albums>)",
       "/2:a= /2:b=5 /2:c= c/4:1= c/4:2=it's c/4:4= /2:d=a<b /2:e= "},
  });
}

TEST_F(Loading, WhatIsNoElementIsPassedOver) {
  ExpectLoaded({
      {"comments and sections, one of them without an end",
       R"(<!-- > <albums> "> --><![CDATA[<folders>]]><albums><!-- <album albumId="no"> it's -->)"
       R"(<![CDATA[<album albumId="t"/></albums> 1 < 2)",
       "/2:t= "},
      {"containers that are empty or missing", "<r><folders/><albums /><rootAlbum\n/></r>", ""},
      {"closing tags of what was not opened", "</albums></folder><albums></items></albums>", ""},
      {"not XML", "<<<\"\"\">>>/>=\"\" ok", ""},
      {"empty", "", ""},
  });
}

TEST_F(Loading, ABrokenAnswerChangesNothing) {
  ExpectLoaded({
      {"something to be kept", R"(<albums><album albumId="kept"/></albums>)", "/2:kept= "},
      {"no </rootAlbum>", R"(<rootAlbum><items><item itemId="1"/></items>)", nullptr},
      {"no </folders>", R"(<folders><folder folderId="f"></folder><albums></albums>)", nullptr},
      {"no </folder>", R"(<folders><folder folderId="f"><albums/><folder folderId="g"/></folders>)",
       nullptr},
      {"no </albums>",
       R"(<folders><folder folderId="f"><albums></folder></folders><albums></albums>)", nullptr},
      {"no </album>", R"(<albums><album albumId="t"><album albumId="u"></album></albums>)",
       nullptr},
      {"no </items>", R"(<albums><album albumId="t"><items><item itemId="1"/></album></albums>)",
       nullptr},
      {"cut within an item", R"(<rootAlbum></rootAlbum><albums></albums><item itemId="2)", nullptr},
      {"cut within a closing tag", R"(<r stat="ok"><albums><album albumId="t"/></albums></r)",
       nullptr},
      {"an end before its beginning", R"(</albums><albums><album albumId="t"></album>)", nullptr},
  });
}

TEST_F(Loading, FriendAlbumsAreReadWhateverStandsAround) {
  loader.RefreshHierarchyInfoByXMLData("");
  const std::string answer =
      R"(<response stat="ok"><albums><album albumId="y" albumName="Y" modifyDate="1" itemsCount="2"><items>)"
      R"(<item itemId="2" fileName="two"/><item itemId="1" fileName="one"/></items></album>)"
      R"(<album albumId="z" itemsCount="0"><items><item itemId="3"/></items></album>)"
      R"(<album albumName="no id"><items><item itemId="4"/></items></album>)"
      R"(<album albumId="x" albumName="X"/></albums></response>)";
  for (const std::string around : {"rootAlbum", "folders", "folder", "album", "items", "other"}) {
    loader.RefreshFriendAlbumInfoByXMLData("<" + around + " folderId=\"f\">" + answer + "</" +
                                           around + ">");
    EXPECT_EQ(Dump(cache), "friend:x=X friend:y=Y@1 y/4:2=two y/4:1=one friend:z= ") << around;
  }
  EXPECT_EQ(loader.RefreshFriendAlbumInfoByXMLData(answer), uint32_t{kKELOResult_Success});
  EXPECT_EQ(Dump(cache), "friend:x=X friend:y=Y@1 y/4:2=two y/4:1=one friend:z= ");
  EXPECT_EQ(loader.RefreshFriendAlbumInfoByXMLData("nothing"), uint32_t{kKELOResult_Success});

  // The hierarchy stays without friend albums; an item that stood in both, too.
  ASSERT_EQ(loader.RefreshHierarchyInfoByXMLData(R"(<rootAlbum><item itemId="1"/></rootAlbum>)"),
            0u);
  for (const char* broken :
       {R"(<albums><album albumId="x"><items><item itemId="1"/></items></album>)",
        R"(<albums><album albumId="x"><items><item itemId="2"/></album></albums>)", "<albums/><"}) {
    ASSERT_EQ(loader.RefreshFriendAlbumInfoByXMLData(answer), 0u);
    EXPECT_EQ(loader.RefreshFriendAlbumInfoByXMLData(broken), 4144u) << broken;
    EXPECT_EQ(Dump(cache), "rootAlbum/1= ") << broken;
    EXPECT_EQ(RecordOf(cache, "2").result, uint32_t{kKELOResult_NotFound});
  }
}

// The names of a folder, an album, an item and a friend's album.
using Names = std::array<std::string, 4>;

std::string LoadNamed(KELOAccessCacheManager& cache, const Names& names) {
  HierarchyLoader loader(cache);
  const auto named = [&](size_t n) { return "=\"" + names[n] + "\" modifyDate=\"d\""; };
  EXPECT_EQ(
      loader.RefreshHierarchyInfoByXMLData(
          "<r stat=\"ok\"><rootAlbum><item itemId=\"r\"/></rootAlbum><folders>"
          "<folder folderId=\"f\" folderName" +
          named(0) +
          " albumCount=\"1\">\n<albums>"
          "<album albumId=\"a\" albumName" +
          named(1) + "><items><item itemId=\"1\" fileName" + named(2) +
          "/>\n<item itemId=\"2\" fileName=\"two\"/></items></album></albums>"
          "</folder><folder folderId=\"g\"/></folders><albums><album albumId=\"t\"/></albums>"),
      0u);
  EXPECT_EQ(
      loader.RefreshFriendAlbumInfoByXMLData("<albums><album albumId=\"x\" albumName" + named(3) +
                                             "><items><item itemId=\"3\"/>"
                                             "</items></album><album albumId=\"y\"/></albums>"),
      0u);
  return Dump(cache);
}

// Whatever a name holds: it comes out as it is, and costs nothing else. A quote in it ends it, and
// may then cost what stands behind it in its own tag.
TEST_F(Loading, NoNameCostsAnotherEntry) {
  const std::string letters = "<>\"'/=! -";
  std::mt19937 random(19870601);
  for (size_t number = 0; number < 3000; ++number) {
    std::string name;  // all up to three letters, then some of up to six
    for (size_t n = number < 820 ? number : random() % 597871; n > 0; n = (n - 1) / 9)
      name += letters[(n - 1) % 9];
    const size_t quote = name.find('"');
    for (size_t place = 0; place < 4; ++place) {
      Names names{"F", "A", "one", "X"};
      names[place] = name;
      const std::string loaded = LoadNamed(cache, names);
      names[place] = name.substr(0, quote);
      const auto expected = [&](const char* date) {
        std::array<std::string, 4> dates{"@d ", "@d ", "@d ", "@d "};
        dates[place] = date;
        return "/1:f=" + names[0] + dates[0] + "f/2:a=" + names[1] + dates[1] +
               "a/4:1=" + names[2] + dates[2] +
               "a/4:2=two /1:g= /2:t= rootAlbum/r= friend:x=" + names[3] + dates[3] +
               "x/4:3= friend:y= ";
      };
      if (quote == std::string::npos || loaded != expected(" "))
        ASSERT_EQ(loaded, expected("@d ")) << place << ": " << name;
    }
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
  const size_t n = 200000;
  const std::string folders = "<folders>";
  const std::string end = "</folders>";
  const std::string answers[] = {
      folders + Repeat("<folder ", n) + end,
      folders + Repeat("<folder x>", n) + "</folder>" + end,
      folders + Repeat("<folder \"", n) + end,
      folders + Repeat("<folder folderId=\"f\"><albums>", n) + Repeat("</albums></folder>", n) +
          end,
      folders + Repeat("<folder folderId=\"f\"/>", n) + end,
      Repeat("<albums><album albumId=\"a\">", n) + Repeat("</album></albums>", n),
      "<albums>" + Repeat("<album albumId=\"a\"></album>", n) + "</albums>",
      "<albums>" + Repeat("<album a=\"", n) + "</albums>",
      "<rootAlbum>" + Repeat("<item itemId=\"i\"/>", n) + "</rootAlbum>",
      "<rootAlbum><item " + Repeat("a=", n) + "/></rootAlbum>",
      Repeat("<folders><albums><rootAlbum>", n),
      Repeat("</folders></albums></rootAlbum>", n),
  };
  for (const std::string& answer : answers) {
    const std::clock_t start = std::clock();  // of the processor: the machine may be busy
    loader.RefreshHierarchyInfoByXMLData(answer);
    loader.RefreshFriendAlbumInfoByXMLData(answer);
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 10) << answer.substr(0, 60);
  }
}

}  // namespace
}  // namespace kelo::testing
