// Loading the account and querying it through the commands: the requests on the wire, how much of
// an id travels, and the fresh query of one item.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class LoadAndQueryTest : public CommandTest {
 protected:
  LoadAndQueryTest() : CommandTest(100 * sizeof(tagKELO_ItemInfo)) {}

  uint32_t Info(const std::string& id, tagKELO_ItemInfo& info, bool fresh = false) {
    return Send(kKELOCommand_GetItemInfo,
                Record(&info, id, fresh ? uint32_t{kKELOOption_AskService} : 0));
  }
};

TEST_F(LoadAndQueryTest, ALoadAsksInThreeDocuments) {
  OpenScriptedSession();
  Script("GetUserArchiveInfo", "<r stat=\"ok\" totalCount=\"12000\" />");
  ASSERT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 0u);
  const auto log = service().Arrived();
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log[0].path, "/manage");
  ExpectDocument(log[0], "<GetUserArchiveInfo />\r\n");
  ExpectDocument(log[1],
                 "<GetHierarchy folderSortBy=\"ModifyDate\" folderSortOrder=\"desc\""
                 " albumSortBy=\"ModifyDate\" albumSortOrder=\"desc\""
                 " sortBy=\"UploadDate\" sortOrder=\"desc\""
                 " needFileFormat=\"true\" needFileName=\"true\" needOrigUrl=\"true\""
                 " needScreenUrl=\"true\" needShotDate=\"true\" needUploadDate=\"true\""
                 " needModifyDate=\"true\" />\r\n");
  ExpectDocument(log[2], "<GetForeignAlbumItems needDate=\"true\" />\r\n");
  Script("GetUserArchiveInfo", kOk);
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 4144u) << "no total";
  EXPECT_EQ(service().RequestCount(), 4u);
}

TEST_F(LoadAndQueryTest, IdsTravelUpToFortyCharacters) {
  OpenScriptedSession();
  const std::string forty = "1234567890123456789012345678901234567890";
  Script("GetUserArchiveInfo", "<r stat=\"ok\" totalCount=\"1\" />");
  Script("GetHierarchy", "<r stat=\"ok\"><albums><album albumId=\"" + forty +
                             "\"><items><item itemId=\"i" + forty +
                             "\"/></items></album></albums></r>");
  ASSERT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 0u);
  service().ClearArrived();

  tagKELO_ItemInfo info{};
  EXPECT_EQ(Info(forty, info, true), 4112u);
  EXPECT_EQ(FieldText(info.itemId), forty);
  info.kind = kKELOKind_Album;
  Script("AddAlbum", "<r stat=\"ok\" albumId=\"n" + forty + "\"/>");
  EXPECT_EQ(SendOne(kKELOCommand_AddItems, &info, forty), 0u);
  EXPECT_EQ(FieldText(info.itemId), "n" + forty.substr(0, 39));
  EXPECT_EQ(FieldText(info.parentId), forty);
  tagKELO_AddLinkInfo link{};
  EXPECT_EQ(SendOne(kKELOCommand_AddNewLink, &link, forty + "xyz"), 0u);
  for (const ClientRequest& request : service().Arrived())
    EXPECT_NE(request.body.find("=\"" + forty + "\""), std::string::npos) << request.body;
}

TEST_F(LoadAndQueryTest, AFreshItemReplacesWhatTheCatalogueKnew) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  tagKELO_ItemInfo cached{};
  ASSERT_EQ(Info("I1", cached), 0u);  // keeps a finished record, which the answer must replace
  Script("GetItemsInfo",
         "<r stat=\"ok\"><items\r\n><item\r\nitemId=\"I1\" fileName=\"new&#233;.jpg\" x='\"'"
         "fileFormat=\"image/tiff\" exif.36867=\"2008:05:17\"/><item itemId=\"I3\" "
         "fileName=\"too\" shotDate=\"\" exif.36867=\"2\"/></items></r>");
  tagKELO_ItemInfo info{};
  info.result = 99;
  SetField(info.parentId, "host's");
  info.kind = info.itemCount = 77;
  ASSERT_EQ(Info("I1", info, true), 0u);
  EXPECT_EQ(info.result, 0u);
  EXPECT_EQ(FieldText(info.parentId), "host's");
  EXPECT_EQ(info.kind + info.itemCount, 2 * 77u);
  EXPECT_EQ(FieldText(ItemInfo("I3").name), "too") << "what was not asked for";
  EXPECT_EQ(FieldText(ItemInfo("I3").shotDate), "") << "empty is not absent";
  ExpectDocument(OnlyRequest(),
                 "<GetItemsInfo itemIdList=\"I1\" sortBy=\"UploadDate\" sortOrder=\"desc\" />\r\n");
  EXPECT_EQ(FieldText(info.name), "new&#233;.jpg");
  EXPECT_EQ(FieldText(info.shotDate), "2008:05:17");
  EXPECT_EQ(info.fileFormat, 4u);
  ASSERT_EQ(Info("I1", cached), 0u);
  EXPECT_EQ(FieldText(cached.name), "new&#233;.jpg");

  EXPECT_EQ(Info("I2", info, true), 4112u);  // not in the answer
  EXPECT_EQ(info.result, 4112u);
  EXPECT_EQ(FieldText(info.itemId), "I2");

  service().ClearArrived();
  for (const char* id : {"", KELO_ROOT_ALBUM_ID, "KELO_CACHEINFO_ROOT_ID"})
    EXPECT_EQ(Info(id, info, true), 4112u) << id;
  EXPECT_EQ(service().RequestCount(), 0u);
  Script("GetItemsInfo", "<r stat=\"fail\" errcode=\"207\" />");
  EXPECT_EQ(Info("I2", info, true), 4115u);
}

}  // namespace
}  // namespace kelo::testing
