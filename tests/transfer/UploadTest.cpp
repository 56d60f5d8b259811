// The upload command: the bytes of the multipart request, what its answer does to records and
// catalogue, files that cannot be sent; and the duplicate check before it: what is asked, and what
// is skipped.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

// With files to upload into a scripted account.
class UploadTest : public CommandTest {
 protected:
  UploadTest() : CommandTest(100 * sizeof(tagKELO_ItemInfo)) {}

  // A record for a file of the test's folder. Its texts stay valid until the end of the test.
  tagKELO_LoadInfo File(const std::string& name, const std::string& bytes) {
    texts_.push_back(folder().Write(name, bytes));
    return UploadOf(texts_.back(), static_cast<int32_t>(bytes.size()));
  }
  void Name(tagKELO_LoadInfo& record, const std::string& name) {
    record.fileName = Text(texts_.emplace_back(name));
  }
  uint32_t Upload(std::vector<tagKELO_LoadInfo>& records, const std::string& album,
                  uint32_t options = 0, uint32_t checkMask = 7) {
    return SendAll(kKELOCommand_Upload, records, album, options, checkMask);
  }

  std::deque<std::string> texts_;
};

TEST_F(UploadTest, SendsOneMultipartRequestByteForByte) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  EXPECT_EQ(ItemInfo("A1").itemCount, 2u);  // a finished record that the upload must drop
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "AAAA"), File("b.jpg", ""),
                                           File("c\xC3\xA9.jpg", std::string("C\0C\r\n", 5))};
  Name(records[0], "<\"sun\" & sea>.jpg");
  SetField(records[0].tagList, "sea,\xE6\xB5\xB7\r\n");
  SetField(records[1].fileModifyDate, "");
  SetField(records[1].fileCreateDate, "");
  std::memset(records[2].itemId, 'x', sizeof records[2].itemId);
  records[2].result = 4099;  // of an earlier command
  Script("UploadItems",
         "<r stat=\"ok\"><items><item idx=\"1\" itemId=\"N1\" /><item idx=\"9\" itemId=\"N9\" />"
         "<item idx=\"3\" itemId=\"" +
             std::string(50, 'N') + "\" /><item idx=\"2\" /></items></r>");
  ASSERT_EQ(Upload(records, "A1"), 0u);

  const std::string first = "&lt;&quot;sun&quot; &amp; sea&gt;.jpg";
  const std::string document = Document(
      "<UploadItems>\r\n<items>\r\n<item idx=\"1\" fileName=\"" + first +
      "\" size=\"4\" fileCreateDate=\"2008-05-16\" "
      "fileModifyDate=\"2008-05-17\" albumId=\"A1\" tagList=\"sea,&#28023;&#13;&#10;\" />\r\n"
      "<item idx=\"2\" fileName=\"b.jpg\" size=\"0\" albumId=\"A1\" />\r\n"
      "<item idx=\"3\" fileName=\"c&#233;.jpg\" size=\"5\" fileCreateDate=\"2008-05-16\" "
      "fileModifyDate=\"2008-05-17\" albumId=\"A1\" />\r\n"
      "</items>\r\n</UploadItems>\r\n");
  const auto filePart = [](const std::string& name, const std::string& bytes) {
    return "\r\n--BOUNDARY\r\nContent-Disposition: form-data; name=\"" + name +
           "\"\r\nContent-Type: application/octet-stream\r\n"
           "Content-Transfer-Encoding: binary\r\n\r\n" +
           bytes;
  };
  const ClientRequest request = OnlyRequest();
  EXPECT_EQ(request.verb, "POST");
  EXPECT_EQ(request.path, "/upload");
  EXPECT_EQ(request.headers,
            (devservice::Headers{{"Host", Url().substr(7)},
                                 {"Accept", "*/*"},
                                 {"Accept-Encoding", "gzip"},
                                 {"Content-Type", "multipart/form-data; boundary=BOUNDARY"},
                                 {"Content-Length", std::to_string(request.body.size())}}));
  EXPECT_EQ(request.body,
            "--BOUNDARY\r\nContent-Disposition: form-data; name=\"XML\"\r\n"
            "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
                document + filePart(first, "AAAA") + filePart("b.jpg", "") +
                filePart("c&#233;.jpg", std::string("C\0C\r\n", 5)) + "\r\n--BOUNDARY--\r\n");
  ExpectSigned(request, document);

  EXPECT_EQ(FieldText(records[0].itemId), "N1");
  EXPECT_EQ(FieldText(records[0].albumId), "A1");
  EXPECT_EQ(FieldText(records[1].itemId), "");  // not confirmed
  EXPECT_EQ(records[2].result, 0u);
  EXPECT_EQ(FieldText(records[2].itemId), std::string(40, 'N'));
  EXPECT_EQ(ItemInfo("A1").itemCount, 4u);
  ItemInfo(std::string(40, 'N'));  // the catalogue knows it by the id that the host was given
  const tagKELO_ItemInfo info = ItemInfo("N1");
  EXPECT_EQ(FieldText(info.name), first);
  EXPECT_EQ(FieldText(info.parentId), "A1");
}

TEST_F(UploadTest, NoRecordsAndNegativeSizesSendNothing) {
  OpenScriptedSession();
  std::vector<tagKELO_LoadInfo> none;
  for (const uint32_t options : {0u, 0x400u}) EXPECT_EQ(Upload(none, "A1", options), 0u);
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "A"), File("b.jpg", "B")};
  for (const size_t negative : {0u, 1u}) {
    for (size_t i = 0; i < 2; ++i) records[i].fileSize = i == negative ? -1 : 1;
    EXPECT_EQ(Upload(records, "A1", negative == 0 ? 0 : kKELOOption_CheckDuplicates), 4103u);
    EXPECT_EQ(records[0].result, 4103u);
    EXPECT_EQ(records[1].result, 4103u);
  }
  for (const auto date : {&tagKELO_LoadInfo::fileModifyDate, &tagKELO_LoadInfo::fileCreateDate}) {
    records = {File("a.jpg", "A")};
    SetField(records[0].*date, "");
    EXPECT_EQ(Upload(records, "A1"), 4112u);
  }
  EXPECT_EQ(service().RequestCount(), 0u);
}

TEST_F(UploadTest, AnOldSpoolFileIsGoneAfterAnyUpload) {
  const std::string spool = "/tmp/tVQLTempFile.dat";
  if (!(std::ofstream(spool) << "left by a host that was killed")) GTEST_SKIP() << spool;
  OpenScriptedSession();
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "A")};
  EXPECT_EQ(Upload(records, ""), 0u);
  EXPECT_FALSE(std::filesystem::exists(spool));
}

TEST_F(UploadTest, UnterminatedFieldsAreReadToTheirWidth) {
  OpenScriptedSession();
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "A")};
  std::memset(records[0].fileModifyDate, 'm', sizeof records[0].fileModifyDate);
  std::memset(records[0].fileCreateDate, 'c', sizeof records[0].fileCreateDate);
  std::memset(records[0].tagList, 't', sizeof records[0].tagList);
  ASSERT_EQ(Upload(records, std::string(44, 'A')), 0u);
  EXPECT_EQ(FieldText(records[0].albumId), std::string(40, 'A'));
  const std::string line = "<item idx=\"1\" fileName=\"a.jpg\" size=\"1\" fileCreateDate=\"" +
                           std::string(32, 'c') + "\" fileModifyDate=\"" + std::string(32, 'm') +
                           "\" albumId=\"" + std::string(40, 'A') + "\" tagList=\"" +
                           std::string(904, 't') + "\" />\r\n";
  EXPECT_NE(OnlyRequest().body.find(line), std::string::npos);
}

TEST_F(UploadTest, ProgressSurroundsTheTransferWhateverItsStatus) {
  OpenScriptedSession();
  const std::vector<Words>& events = KeepEvents();
  const std::vector<Words> both = {{20, 48, 8, 0, 2, 0}, {20, 48, 8, 8, 2, 2}};
  Script("UploadItems", ReplyWith("", 500), Reply{.closeAtOnce = true}, kOk);
  for (const uint32_t result : {4114u, 4129u, 0u}) {
    KeepEvents();
    std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "12345"), File("b.jpg", "123")};
    EXPECT_EQ(Upload(records, "A1"), result);
    ASSERT_GE(events.size(), result == 4129 ? 1u : 2u) << result;  // more may come in between
    EXPECT_EQ(events.front(), both[0]) << result;
    EXPECT_EQ(events.back() == both[1], result != 4129) << result;
  }
}

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
  Script("CheckUploadItems",
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
  EXPECT_EQ(ItemInfo("A1").itemCount, 3u);
  const tagKELO_ItemInfo placed = ItemInfo("I9");
  EXPECT_EQ(FieldText(placed.parentId), "A1");
  EXPECT_EQ(events, (std::vector<Words>{{20, 48, 10, 0, 3, 0}, {20, 48, 10, 10, 3, 3}}));
}

TEST_F(UploadCheckTest, TheCheckTellsTheDatesOfItsMaskAndTheAlbumThatIsGiven) {
  OpenScriptedSession();
  Script("CheckUploadItems", "<r stat=\"ok\"><items><item idx=\"1\" status=\"1\" /></items></r>");
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
    ExpectDocument(service().Arrived().back(), "<CheckUploadItems>\r\n<items>\r\n" + line +
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
    Script("CheckUploadItems", std::string("<r stat=\"ok\"><items><item idx=\"1\" status=\"") +
                                   c.status + "\" itemId=\"OLD\" /></items></r>");
    std::vector<tagKELO_LoadInfo> records = {File("1.jpg", "1"), File("1.wav", "memo")};
    ASSERT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), 0u);
    EXPECT_EQ(records[0].result, c.picture);
    EXPECT_EQ(records[1].result, c.memo);
    EXPECT_EQ(FieldText(records[1].itemId), "");
  }
  EXPECT_TRUE(Requests("UploadItems").empty());
}

}  // namespace
}  // namespace kelo::testing
