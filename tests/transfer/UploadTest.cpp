// The upload command: the bytes of the multipart request, what its answer does to records and
// catalogue, and files that cannot be sent.

#include <functional>

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class UploadTest : public CommandTest {
 protected:
  UploadTest() : CommandTest(100 * sizeof(tagKELO_ItemInfo)) {}

  // A record for a file of the test's folder. Its texts stay valid until the end of the test.
  tagKELO_LoadInfo File(const std::string& name, const std::string& bytes) {
    tagKELO_LoadInfo record{};
    record.filePath = Text(texts_.emplace_back(folder().Write(name, bytes)));
    record.fileSize = static_cast<int32_t>(bytes.size());
    SetField(record.fileModifyDate, "2008-05-17");
    SetField(record.fileCreateDate, "2008-05-16");
    return record;
  }
  void Name(tagKELO_LoadInfo& record, const std::string& name) {
    record.fileName = Text(texts_.emplace_back(name));
  }
  uint32_t Upload(std::vector<tagKELO_LoadInfo>& records, const std::string& album,
                  uint32_t options = 0, uint32_t checkMask = 7) {
    tagKELO_LoadInfo none{};
    tagCommandControlInfo record = Record(records.empty() ? &none : records.data(), album);
    record.entryCount = static_cast<uint32_t>(records.size());
    record.outputOptions = options;
    record.selectionFlags = checkMask;
    return Send(kKELOCommand_Upload, record);
  }
  uint32_t CountOf(const std::string& album) {
    tagKELO_ItemInfo info{};
    tagCommandControlInfo record = Record(&info, album);
    EXPECT_EQ(Send(kKELOCommand_GetItemInfo, record), 0u);
    return info.itemCount;
  }

  std::deque<std::string> texts_;
};

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
  EXPECT_EQ(FieldText(records[2].itemId), std::string(40, 'N'));
  EXPECT_EQ(CountOf("A1"), 4u);
  tagKELO_ItemInfo info{};
  ASSERT_EQ(Send(kKELOCommand_GetItemInfo, Record(&info, "N1")), 0u);
  EXPECT_EQ(FieldText(info.name), first);
  EXPECT_EQ(FieldText(info.parentId), "A1");
}

TEST_F(UploadTest, NoRecordsAndNegativeSizesSendNothing) {
  OpenScriptedSession();
  std::vector<tagKELO_LoadInfo> none;
  EXPECT_EQ(Upload(none, "A1"), 0u);
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "A"), File("b.jpg", "B")};
  records[1].fileSize = -1;
  EXPECT_EQ(Upload(records, "A1"), 4103u);
  EXPECT_EQ(records[0].result, 4103u);
  EXPECT_EQ(records[1].result, 4103u);
  records = {File("a.jpg", "A")};
  SetField(records[0].fileCreateDate, "");
  EXPECT_EQ(Upload(records, "A1"), 4112u);
  EXPECT_EQ(service().RequestCount(), 0u);
}

TEST_F(UploadTest, AFileThatCannotSupplyItsSizeEndsTheRequestBeforeItIsSent) {
  OpenScriptedSession();
  const std::string folderPath = folder().Path("folder.jpg");
  std::filesystem::create_directory(folderPath);
  const std::string paths[] = {folder().Path("missing.jpg"), folderPath, "/dev/zero",
                               folder().Write("short.jpg", "abc"), ""};
  for (std::string path : paths) {
    std::vector<tagKELO_LoadInfo> records = {File("good.jpg", "good"), File("bad.jpg", "bad!")};
    records[1].filePath = Text(path);
    EXPECT_EQ(Upload(records, "A1"), 4098u) << path;
    EXPECT_EQ(records[0].result, 0u) << path;
    EXPECT_EQ(FieldText(records[0].itemId), "") << path;
  }
  EXPECT_EQ(service().RequestCount(), 0u);

  std::vector<tagKELO_LoadInfo> longer = {File("longer.jpg", "0123456789")};
  longer[0].fileSize = 4;
  ASSERT_EQ(Upload(longer, ""), 0u);
  EXPECT_NE(OnlyRequest().body.find("\r\n\r\n0123\r\n--BOUNDARY--\r\n"), std::string::npos);
}

TEST_F(UploadTest, TheCheckSkipsWhatTheServiceHolds) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  std::vector<tagKELO_LoadInfo> records = {File("1.jpg", "1"), File("2.jpg", "22"),
                                           File("3.WAV", "333"), File("4.jpg", "4444"),
                                           File("5.jpg", "55555")};
  SetField(records[0].shotDate, "2001:01:01");
  SetField(records[3].fileModifyDate, "");
  for (auto& record : records) SetField(record.itemId, "of an earlier command");
  Queue("CheckUploadItems",
        "<r stat=\"ok\"><items><item idx=\"1\" status=\"1\" itemId=\"I1\" /><item idx=\"1\" "
        "status=\"2\" itemId=\"I9\" /><item idx=\"2\" status=\"4\" /><item idx=\"4\" status=\"3\" "
        "/><item idx=\"04\" status=\"0\" /><item idx=\"77\" status=\"0\" /></items></r>");
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
          item(5, "5.jpg", 5, dates) + "</items>\r\n</CheckUploadItems>\r\n");
  const uint32_t results[] = {4104, 0, 0, 4115, 0};
  for (size_t i = 0; i < records.size(); ++i) EXPECT_EQ(records[i].result, results[i]) << i;
  const char* ids[] = {"I9", "", "", "", ""};  // the answer to the upload confirms none
  for (size_t i = 0; i < records.size(); ++i) EXPECT_EQ(FieldText(records[i].itemId), ids[i]) << i;
  const std::string body = Requests("UploadItems").at(0).body;
  for (const char* sent : {"idx=\"2\"", "idx=\"3\"", "idx=\"5\""}) {
    EXPECT_NE(body.find(sent), std::string::npos) << sent;
  }
  EXPECT_EQ(body.find("idx=\"1\""), std::string::npos);
  EXPECT_EQ(body.find("idx=\"4\""), std::string::npos);
  EXPECT_EQ(CountOf("A1"), 3u);  // the file that is placed there already shows at once
}

TEST_F(UploadTest, AFileMayChangeBetweenTheCheckAndTheSend) {
  OpenScriptedSession();
  struct Case {
    const char* name;
    std::function<void(const std::string&)> change;
    uint32_t result;
  };
  const auto write = [](const char* bytes) {
    return [bytes](const std::string& path) { std::ofstream(path) << bytes; };
  };
  const Case cases[] = {
      {"vanishes", [](const std::string& path) { std::filesystem::remove(path); }, 4098},
      {"shrinks", write("123"), 4098},
      {"grows", write("0123456"), 0}};
  for (const Case& c : cases) {
    std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "1234")};
    service().SetScript([&](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.apiMethod == "UploadItems") return ReplyWith(kOk);
      c.change(folder().Path("a.jpg"));
      return ReplyWith("<r stat=\"ok\"><items><item idx=\"1\" status=\"0\" /></items></r>");
    });
    service().ClearLog();
    EXPECT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), c.result) << c.name;
    EXPECT_EQ(records[0].result, 0u) << c.name;
    const auto uploads = Requests("UploadItems");
    ASSERT_EQ(uploads.size(), c.result == 0 ? 1u : 0u) << c.name;
    if (c.result == 0) {
      EXPECT_NE(uploads[0].body.find("\r\n\r\n0123\r\n--"), std::string::npos) << c.name;
    }
  }
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

TEST_F(UploadTest, WithoutAPictureToSendNoVoiceMemoTravels) {
  OpenScriptedSession();
  struct Case {
    const char* status;
    uint32_t picture;
    uint32_t memo;
  };
  for (const Case& c : {Case{"1", 4099, 4099}, Case{"3", 4115, 0}}) {
    Unqueue("CheckUploadItems");
    Queue("CheckUploadItems", std::string("<r stat=\"ok\"><items><item idx=\"1\" status=\"") +
                                  c.status + "\" itemId=\"OLD\" /></items></r>");
    std::vector<tagKELO_LoadInfo> records = {File("1.jpg", "1"), File("1.wav", "memo")};
    ASSERT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), 0u);
    EXPECT_EQ(records[0].result, c.picture);
    EXPECT_EQ(records[1].result, c.memo);
  }
  EXPECT_TRUE(Requests("UploadItems").empty());
}

TEST_F(UploadTest, AFailedCheckMarksEveryRecord) {
  OpenScriptedSession();
  Queue("CheckUploadItems", "<r stat=\"fail\" errcode=\"208\" />");
  Queue("CheckUploadItems", "<r stat=\"ok\"><items></items></r>");
  for (const uint32_t result : {4101u, 4144u}) {
    std::vector<tagKELO_LoadInfo> records = {File("1.jpg", "1"), File("2.jpg", "2")};
    EXPECT_EQ(Upload(records, "A1", kKELOOption_CheckDuplicates), result);
    EXPECT_EQ(records[0].result, result);
    EXPECT_EQ(records[1].result, result);
  }
  EXPECT_TRUE(Requests("UploadItems").empty());
}

TEST_F(UploadTest, FiftyThousandRecordsAreCheckedInOneRequest) {
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

TEST_F(UploadTest, ProgressSurroundsTheTransfer) {
  OpenScriptedSession();
  const std::vector<Words>& events = KeepEvents();
  std::vector<tagKELO_LoadInfo> records = {File("a.jpg", "12345"), File("b.jpg", "123")};
  ASSERT_EQ(Upload(records, "A1"), 0u);
  const std::vector<Words> expected = {{20, 48, 8, 0, 2, 0}, {20, 48, 8, 8, 2, 2}};
  EXPECT_EQ(events, expected);
}

}  // namespace
}  // namespace kelo::testing
