// The duplicate check before an upload: what is asked, and what is skipped.

#include "transfer/UploadFixture.h"

namespace kelo::testing {
namespace {

using UploadCheckTest = UploadTest;

TEST_F(UploadCheckTest, TheCheckSkipsWhatTheServiceHolds) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  const std::vector<Words>& events = KeepEvents();
  std::vector<tagKELO_LoadInfo> records = {File("1.jpg", "1"),     File("2.jpg", "22"),
                                           File("3.WAV", "333"),   File("4.jpg", "4444"),
                                           File("5.jpg", "55555"), File("6.jpg", "666666")};
  SetField(records[0].shotDate, "2001:01:01");
  SetField(records[3].fileModifyDate, "");
  for (auto& record : records) {
    SetField(record.itemId, "of an earlier command");
    record.result = 4099;
  }
  Queue("CheckUploadItems",
        "<r stat=\"ok\"><items><item idx=\"1\" status=\"1\" itemId=\"I1\" /><item idx=\"1\" "
        "status=\"2\" itemId=\"I9\" /><item idx=\"2\" status=\"4\" /><item idx=\"4\" status=\"1\" "
        "itemId=\"I4\" /><item idx=\"4\" status=\"3\" /><item idx=\"04\" status=\"0\" /><item "
        "idx=\"6\" status=\"1\" itemId=\"I6\" /><item idx=\"77\" status=\"0\" /></items></r>");
  ASSERT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), 0u);
  const auto checks = Requests("CheckUploadItems");
  ASSERT_EQ(checks.size(), 1u);
  EXPECT_EQ(checks[0].path, "/upload");
  const auto item = [](int idx, const char* name, int size, const char* rest) {
    return "<item idx=\"" + std::to_string(idx) + "\" fileName=\"" + name + "\" fileSize=\"" +
           std::to_string(size) + "\"" + rest + " albumId=\"A1\" />\r\n";
  };
  const char* dates = " fileCreateDate=\"2008-05-16\" fileModifyDate=\"2008-05-17\"";
  ExpectDocument(
      checks[0],
      "<CheckUploadItems>\r\n<items>\r\n" +
          item(1, "1.jpg", 1, (" shotDate=\"2001:01:01\"" + std::string(dates)).c_str()) +
          item(2, "2.jpg", 2, dates) + item(4, "4.jpg", 4, " fileCreateDate=\"2008-05-16\"") +
          item(5, "5.jpg", 5, dates) + item(6, "6.jpg", 6, dates) +
          "</items>\r\n</CheckUploadItems>\r\n");
  const uint32_t results[] = {4104, 0, 0, 4115, 0, 4099};
  const char* ids[] = {"I9", "", "", "", "", "I6"};  // the answer to the upload confirms none
  for (size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(records[i].result, results[i]) << i;
    EXPECT_EQ(FieldText(records[i].itemId), ids[i]) << i;
  }
  const std::string body = Requests("UploadItems").at(0).body;
  for (const char* sent : {"idx=\"2\"", "idx=\"3\"", "idx=\"5\""})
    EXPECT_NE(body.find(sent), std::string::npos) << sent;
  for (const char* skipped : {"idx=\"1\"", "idx=\"4\"", "idx=\"6\""})
    EXPECT_EQ(body.find(skipped), std::string::npos) << skipped;
  // Only the file that is placed there already shows at once; only what travels counts.
  EXPECT_EQ(CountOf("A1"), 3u);
  const tagKELO_ItemInfo placed = ItemInfo("I9");
  EXPECT_EQ(FieldText(placed.parentId), "A1");
  EXPECT_EQ(events, (std::vector<Words>{{20, 48, 10, 0, 3, 0}, {20, 48, 10, 10, 3, 3}}));
}

TEST_F(UploadCheckTest, TheCheckTellsTheDatesOfItsMaskAndTheAlbumThatIsGiven) {
  OpenScriptedSession();
  Queue("CheckUploadItems", "<r stat=\"ok\"><items><item idx=\"1\" status=\"1\" /></items></r>");
  for (uint32_t mask = 0; mask < 16; ++mask) {
    std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "A")};
    SetField(records[0].shotDate, "2008-05-15");
    const std::string album = mask % 2 == 0 ? "A1" : "";
    std::string line = "<item idx=\"1\" fileName=\"a.jpg\" fileSize=\"1\"";
    if (mask & 4) line += " shotDate=\"2008-05-15\"";
    if (mask & 2) line += " fileCreateDate=\"2008-05-16\"";
    if (mask & 1) line += " fileModifyDate=\"2008-05-17\"";
    if (!album.empty()) line += " albumId=\"A1\"";
    EXPECT_EQ(Upload(records, album, kKELOOption_CheckDuplicates, mask), 0u);
    EXPECT_EQ(records[0].result, 4099u);
    ExpectDocument(service().Log().back(), "<CheckUploadItems>\r\n<items>\r\n" + line +
                                               " />\r\n</items>\r\n</CheckUploadItems>\r\n");
  }
  EXPECT_TRUE(Requests("UploadItems").empty());
}

TEST_F(UploadCheckTest, WithoutAPictureToSendNoVoiceMemoTravels) {
  OpenScriptedSession();
  struct Case {
    const char* status;
    uint32_t picture;
    uint32_t memo;
  };
  for (const Case& c : {Case{"1", 4099, 4099}, Case{"2", 4104, 4099}, Case{"3", 4115, 0}}) {
    Requeue("CheckUploadItems", std::string("<r stat=\"ok\"><items><item idx=\"1\" status=\"") +
                                    c.status + "\" itemId=\"OLD\" /></items></r>");
    std::vector<tagKELO_LoadInfo> records = {File("1.jpg", "1"), File("1.wav", "memo")};
    ASSERT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), 0u);
    EXPECT_EQ(records[0].result, c.picture);
    EXPECT_EQ(records[1].result, c.memo);
    EXPECT_EQ(FieldText(records[1].itemId), "");
  }
  EXPECT_TRUE(Requests("UploadItems").empty());
}

TEST_F(UploadCheckTest, FiftyThousandRecordsAreCheckedInOneRequest) {
  OpenScriptedSession();
  constexpr size_t kCount = 50000;
  std::string answer("<r stat=\"ok\"><items>");
  std::vector<tagKELO_LoadInfo> records;
  const tagKELO_LoadInfo file = File("a.jpg", "A");
  for (size_t i = 0; i < kCount; ++i) {
    records.push_back(file);
    answer += "<item idx=\"" + std::to_string(kCount - i) + "\" status=\"1\" itemId=\"I" +
              std::to_string(kCount - i) + "\" />";
  }
  Queue("CheckUploadItems", answer + "</items></r>");
  ASSERT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), 0u);
  EXPECT_EQ(records.front().result, 4099u);
  EXPECT_EQ(FieldText(records.back().itemId), "I50000");
  EXPECT_EQ(service().RequestCount(), 1u);
}

}  // namespace
}  // namespace kelo::testing
