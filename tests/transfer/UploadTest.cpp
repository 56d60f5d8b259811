// The upload command: the bytes of the multipart request, what its answer does to records and
// catalogue, and files that cannot be sent.

#include "transfer/UploadFixture.h"

namespace kelo::testing {
namespace {

const char kDeclarations[] =
    "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
    "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n";

TEST_F(UploadTest, SendsOneMultipartRequestByteForByte) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  EXPECT_EQ(CountOf("A1"), 2u);  // a finished record that the upload must drop
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "AAAA"), File("b.jpg", ""),
                                           File("c\xC3\xA9.jpg", std::string("C\0C\r\n", 5))};
  Name(records[0], "<\"sun\" & sea>.jpg");
  SetField(records[0].tagList, "sea,\xE6\xB5\xB7\r\n");
  SetField(records[1].fileModifyDate, "");
  SetField(records[1].fileCreateDate, "");
  std::memset(records[2].itemId, 'x', sizeof records[2].itemId);
  records[2].result = 4099;  // of an earlier command
  Queue("UploadItems",
        "<r stat=\"ok\"><items><item idx=\"1\" itemId=\"N1\" /><item idx=\"9\" itemId=\"N9\" />"
        "<item idx=\"3\" itemId=\"" +
            std::string(50, 'N') + "\" /><item idx=\"2\" /></items></r>");
  ASSERT_EQ(Upload(records, "A1"), 0u);

  const std::string first = "&lt;&quot;sun&quot; &amp; sea&gt;.jpg";
  const std::string document =
      std::string(kDeclarations) + "<UploadItems>\r\n<items>\r\n" + "<item idx=\"1\" fileName=\"" +
      first +
      "\" size=\"4\" fileCreateDate=\"2008-05-16\" "
      "fileModifyDate=\"2008-05-17\" albumId=\"A1\" tagList=\"sea,&#28023;&#13;&#10;\" />\r\n"
      "<item idx=\"2\" fileName=\"b.jpg\" size=\"0\" albumId=\"A1\" />\r\n"
      "<item idx=\"3\" fileName=\"c&#233;.jpg\" size=\"5\" fileCreateDate=\"2008-05-16\" "
      "fileModifyDate=\"2008-05-17\" albumId=\"A1\" />\r\n"
      "</items>\r\n</UploadItems>\r\n";
  const auto filePart = [](const std::string& name, const std::string& bytes) {
    return "\r\n--BOUNDARY\r\nContent-Disposition: form-data; name=\"" + name +
           "\"\r\nContent-Type: application/octet-stream\r\n"
           "Content-Transfer-Encoding: binary\r\n\r\n" +
           bytes;
  };
  const LoggedRequest request = OnlyRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/upload");
  EXPECT_EQ(request.Header("Content-Type"), "multipart/form-data; boundary=BOUNDARY");
  EXPECT_EQ(request.Header("Content-Length"), std::to_string(request.body.size()));
  EXPECT_EQ(request.Header("Expect"), "");
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
  EXPECT_EQ(CountOf("A1"), 4u);
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
  Reply lost;
  lost.closeAtOnce = true;
  Queue("UploadItems", ReplyWith("", 500));
  Queue("UploadItems", lost);
  Queue("UploadItems", kOk);
  for (const uint32_t result : {4114u, 4129u, 0u}) {
    KeepEvents();
    std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "12345"), File("b.jpg", "123")};
    EXPECT_EQ(Upload(records, "A1"), result);
    ASSERT_GE(events.size(), result == 4129 ? 1u : 2u) << result;  // more may come in between
    EXPECT_EQ(events.front(), both[0]) << result;
    EXPECT_EQ(events.back() == both[1], result != 4129) << result;
  }
}

}  // namespace
}  // namespace kelo::testing
