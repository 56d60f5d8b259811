// Property edits, tags, new containers and links: their requests, their effect on the catalogue,
// and what each record tells.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class EditsTest : public CommandTest {
 protected:
  EditsTest() : CommandTest(100 * sizeof(tagKELO_ItemInfo)) {}
  void SetUp() override {
    OpenScriptedSession();
    LoadSmallHierarchy();
  }
};

TEST_F(EditsTest, PropertiesTravelAsTheMaskSays) {
  const std::string everyMarkup = "<&\"'>\r\n\xE6\xB5\xB7\xF0\x9F\x98\x80";
  const std::string caption = "<property name=\"caption\" value=\"";
  const struct {
    std::string caption;
    uint32_t flag, rating, mask;
    std::string properties;
  } cases[] = {
      {"x", 1, 5, 0, ""},
      {everyMarkup, 1, 0xFFFFFFFF, 7,
       caption + "&lt;&amp;&quot;&apos;&gt;&#13;&#10;&#28023;&#55357;&#56832;\" />\r\n"
                 "<property name=\"captionFlag\" value=\"true\" />\r\n"
                 "<property name=\"rating\" value=\"4294967295\" />\r\n"},
      {"", 2, 0, 3, caption + "\" />\r\n<property name=\"captionFlag\" value=\"false\" />\r\n"},
      {std::string(320, 'c'), 0, 0, 1, caption + std::string(320, 'c') + "\" />\r\n"},
      {"bad\xFF\" rating=\"", 0, 0, 1, caption + "bad\xFF&quot; rating=&quot;\" />\r\n"},
  };
  for (const auto& c : cases) {
    service().ClearArrived();
    tagKELO_PropertyInfo record{};
    record.result = 99;
    SetField(record.caption, c.caption);
    record.captionFlag = c.flag;
    record.rating = c.rating;
    record.propertyMask = c.mask;
    EXPECT_EQ(Send(kKELOCommand_ModifyProps, Record(&record, "I1,I2")), 0u);
    EXPECT_EQ(record.result, 0u);
    ExpectDocument(OnlyRequest(),
                   "<ModifyProps itemIdList=\"I1,I2\">\r\n" + c.properties + "</ModifyProps>");
  }
}

TEST_F(EditsTest, TagsGoToItemsAndToWhatAlbumsHold) {
  struct Case {
    const char* target;
    uint32_t selector;
    const char* items;  // null: refused; empty: nothing to send
  };
  const Case cases[] = {
      {"I1", 4, "I1"},
      {"J1", 4, "J1"},
      {"R1", 4, "R1"},
      {"I1", 6, nullptr},
      {"A1", 6, nullptr},
      {"A1", 2, "I2,I1"},
      {"A2", 2, "I3"},
      {"A1", 4, nullptr},
      {KELO_ROOT_ALBUM_ID, 0, "R1"},
      {KELO_ROOT_ALBUM_ID, 2, nullptr},
      {"F1", 0, nullptr},
      {"F1", 1, nullptr},
      {"", 0, nullptr},
      {"B1", 2, nullptr},
      {"B1", 0, nullptr},
      {"unknown", 4, nullptr},
  };
  for (const Case& c : cases) {
    service().ClearArrived();
    tagKELO_TagInfo record{};
    record.result = 99;
    SetField(record.text, "sea & sun");
    const uint32_t expected = c.items == nullptr ? 4115 : 0;
    EXPECT_EQ(Send(kKELOCommand_AddTags, Record(&record, c.target, 0, c.selector)), expected)
        << c.target << c.selector;
    EXPECT_EQ(record.result, expected) << c.target << c.selector;
    if (c.items == nullptr) {
      EXPECT_EQ(service().RequestCount(), 0u) << c.target << c.selector;
    } else {
      ExpectDocument(OnlyRequest(), std::string("<AddTags itemIdList=\"") + c.items +
                                        "\" tagList=\"sea &amp; sun\" />\r\n");
    }
  }
}

TEST_F(EditsTest, TagsOfAnEmptyAlbumSendNothingAndShortBuffersAreReadToTheirEnd) {
  Script("AddAlbum", "<r stat=\"ok\" albumId=\"EMPTY\" />");
  tagKELO_ItemInfo album = NewContainer(kKELOKind_Album, "");
  ASSERT_EQ(SendOne(kKELOCommand_AddItems, &album), 0u);
  service().ClearArrived();
  const auto shortBuffer = std::make_unique<char[]>(7);
  std::memcpy(shortBuffer.get() + 4, "ab", 3);
  EXPECT_EQ(Send(kKELOCommand_AddTags, Record(shortBuffer.get(), "EMPTY", 0, 2)), 0u);
  EXPECT_EQ(service().RequestCount(), 0u);
  EXPECT_EQ(Send(kKELOCommand_AddTags, Record(shortBuffer.get(), "I1", 0, 4)), 0u);
  ExpectDocument(OnlyRequest(), "<AddTags itemIdList=\"I1\" tagList=\"ab\" />\r\n");
}

TEST_F(EditsTest, NewContainersJoinTheCatalogue) {
  EXPECT_EQ(ItemInfo("").itemCount, 4u);  // finished records that the command must drop
  EXPECT_EQ(ItemInfo("F1").itemCount, 1u);
  std::vector<tagKELO_ItemInfo> records(4);
  for (auto& record : records) std::memset(&record, 0x55, sizeof record);
  const uint32_t kinds[] = {1, 2, 3, 1};
  for (size_t i = 0; i < 4; ++i) {
    records[i].kind = kinds[i];
    SetField(records[i].name, "N<" + std::to_string(i));
  }
  Script("AddFolder", "<r stat=\"ok\" folderId=\"NF\" />", "<r stat=\"fail\" errcode=\"208\" />");
  Script("AddAlbum", "<r stat=\"ok\" albumId=\"NA\" />");
  ASSERT_EQ(SendAll(kKELOCommand_AddItems, records, "KELO_CACHEINFO_ROOT_ID"), 0u);
  const auto log = service().Arrived();
  ASSERT_EQ(log.size(), 3u);
  ExpectDocument(log[0], "<AddFolder folderName=\"N&lt;0\" />\r\n");
  ExpectDocument(log[1],
                 "<AddAlbum folderId=\"KELO_CACHEINFO_ROOT_ID\" albumName=\"N&lt;1\" />\r\n");
  const uint32_t results[] = {0, 0, 4115, 4101};
  const char* ids[] = {"NF", "NA", "", ""};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(records[i].result, results[i]) << i;
    EXPECT_EQ(FieldText(records[i].itemId), ids[i]) << i;
    EXPECT_EQ(FieldText(records[i].parentId), "KELO_CACHEINFO_ROOT_ID");
    EXPECT_EQ(FieldText(records[i].name), "N<" + std::to_string(i));
    EXPECT_EQ(records[i].itemCount, 0u);
    EXPECT_EQ(FieldText(records[i].origUrl), "");
  }
  EXPECT_EQ(ItemInfo("").itemCount, 6u);
  EXPECT_EQ(FieldText(ItemInfo("NF").name), "N&lt;0");
  EXPECT_EQ(ItemInfo("NF").kind, 1u);
  EXPECT_EQ(FieldText(ItemInfo("NA").name), "N&lt;1");
  EXPECT_EQ(ItemInfo("NA").kind, 2u);  // not shared with anyone yet

  // Under a folder there are only albums.
  Script("AddAlbum", "<r stat=\"ok\" albumId=\"NA2\" />");
  records.resize(2);
  records[1].kind = kKELOKind_Album;
  ASSERT_EQ(SendAll(kKELOCommand_AddItems, records, "F1"), 0u);
  EXPECT_EQ(records[0].result, 4115u);
  EXPECT_EQ(records[1].result, 0u);
  EXPECT_EQ(ItemInfo("F1").itemCount, 2u);
}

TEST_F(EditsTest, NamesOfNewContainersTravelAsReferencesUpToTheirWidth) {
  const std::string mark = "bad\xFF\"";
  tagKELO_ItemInfo record = NewContainer(kKELOKind_Album, mark + std::string(256, 'n'));
  SendOne(kKELOCommand_AddItems, &record, "F1");
  const std::string rest(255 - mark.size(), 'n');
  ExpectDocument(OnlyRequest(),
                 "<AddAlbum folderId=\"F1\" albumName=\"bad\xFF&quot;" + rest + "\" />\r\n");
  EXPECT_EQ(FieldText(record.name), mark + rest);
}

TEST_F(EditsTest, AnUnusableAnswerEndsTheListAndMarksTheRest) {
  const std::pair<Answer, uint32_t> faults[] = {
      {kOk, 4144},  // no new id
      {"<r stat=\"ok\" albumId=\"\" />", 4144},
      {"<r />", 4144},
      {ReplyWith("", 504), 4128},
  };
  for (const auto& [reply, result] : faults) {
    Script("AddAlbum", "<r stat=\"ok\" albumId=\"N1\" />", reply);
    service().ClearArrived();
    std::vector<tagKELO_ItemInfo> records(4);
    for (auto& record : records) {
      record.kind = kKELOKind_Album;
      SetField(record.itemId, "host's");
    }
    EXPECT_EQ(SendAll(kKELOCommand_AddItems, records), result);
    EXPECT_EQ(records[0].result, 0u);
    for (size_t i = 1; i < 4; ++i) EXPECT_EQ(records[i].result, result) << i;
    EXPECT_EQ(FieldText(records[1].itemId), "");
    EXPECT_EQ(FieldText(records[3].itemId), "host's");
    EXPECT_EQ(service().RequestCount(), 2u);
  }
}

TEST_F(EditsTest, LinksKeepTheirOwnResults) {
  std::vector<tagKELO_AddLinkInfo> records(3);
  SetField(records[0].itemIdList, "I3");
  SetField(records[1].itemIdList, "I3,R1");
  std::memset(records[2].itemIdList, 'i', sizeof records[2].itemIdList);
  std::memset(records[1].albumId, 'x', sizeof records[1].albumId);
  records[2].result = 99;
  Script("AddItemsToAlbum", kOk, "<r stat=\"fail\" errcode=\"302\" />", kOk);
  EXPECT_EQ(SendAll(kKELOCommand_AddNewLink, records, "A1"), 0u);
  const auto log = service().Arrived();
  ASSERT_EQ(log.size(), 3u);
  ExpectDocument(log[1], "<AddItemsToAlbum albumId=\"A1\" itemIdList=\"I3,R1\" />\r\n");
  ExpectDocument(
      log[2], "<AddItemsToAlbum albumId=\"A1\" itemIdList=\"" + std::string(43, 'i') + "\" />\r\n");
  EXPECT_EQ(records[0].result, 0u);
  EXPECT_EQ(records[1].result, 4115u);
  EXPECT_EQ(records[2].result, 0u);
  EXPECT_EQ(FieldText(records[1].albumId), "A1");

  Script("AddItemsToAlbum", kOk, ReplyWith("", 500));
  EXPECT_EQ(SendAll(kKELOCommand_AddNewLink, records, "A1"), 4114u);
  const uint32_t results[] = {0, 4114, 4114};
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(records[i].result, results[i]) << i;
  EXPECT_EQ(service().RequestCount(), 5u);
  EXPECT_EQ(ItemInfo("A1").itemCount, 2u);
}

}  // namespace
}  // namespace kelo::testing
