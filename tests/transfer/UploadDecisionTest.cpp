// The decisions about single files of an upload: names, voice memos, the check's verdict by index,
// and the negotiation that no command reaches.

#include "commands/UploadItemText.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

TEST(NameOfAnUpload, ComesFromTheRecordOrTheLastComponentOfThePath) {
  const struct {
    std::string path, name, display;
  } cases[] = {
      {"/a/b.jpg", "", "b.jpg"},
      {"/a/b.jpg", "c.jpg", "c.jpg"},
      {"C:\\a\\b.jpg", "", "b.jpg"},
      {"/a\\b/c\\d.jpg", "", "c\\d.jpg"},
      {"plain.jpg", "", "plain.jpg"},
      {"/a/", "", ""},
      {"", "", ""},
      {"", "e\xCC\x81<.jpg", "&#233;&lt;.jpg"},
      {"", "\xF0\x9F\x98\x80", "&#55357;&#56832;"},
      {"", "bad\xFF.jpg", "bad\xFF.jpg"},
      {"", std::string("a\0b", 3), "a"},
  };
  for (auto c : cases) {
    tagKELO_LoadInfo record{};
    record.filePath = Text(c.path);
    record.fileName = Text(c.name);
    EXPECT_EQ(DisplayName(record), c.display) << c.path << " " << c.name;
  }
}

TEST(NameOfAnUpload, EndsInWavForAVoiceMemo) {
  const std::pair<const char*, bool> cases[] = {
      {"a.wav", true}, {"A.WAV", true}, {".wav", false},      {"a.wave", false},
      {"awav", false}, {"", false},     {"\xFF_.wav", false}, {"&#233;.wAv", true}};
  for (const auto& [name, sound] : cases) EXPECT_EQ(IsSoundFile(name), sound) << name;
}

TEST(UploadCheck, DecidesByTheElementsOfAnIndex) {
  struct Case {
    const char* album;
    std::vector<std::string> statuses;  // of the elements with the index
    uint32_t result;
    const char* itemId;  // "item" and the 1-based position of the element that names it
  };
  const Case cases[] = {
      {"", {"0"}, 0, ""},
      {"", {"1", "0"}, 4099, "item1"},
      {"", {"2"}, 0, ""},
      {"", {"2", "3", "4", "1"}, 4099, "item4"},
      {"", {"", "1"}, 4099, "item2"},
      {"A", {"0", "2"}, 0, ""},
      {"A", {"1"}, 4099, "item1"},
      {"A", {"1", "2"}, 4104, "item2"},
      {"A", {"1", "0"}, 0, "item1"},
      {"A", {"1", "3"}, 4115, "item1"},
      {"A", {"5", "4", "2"}, 0, ""},
      {"A", {}, 0, ""},
  };
  for (const Case& c : cases) {
    std::vector<std::string> elements = {"<item status=\"3\" />",
                                         "<item idx=\"70\" status=\"3\" />",
                                         "<item xidx=\"7\" status=\"3\" />"};
    for (size_t i = 0; i < c.statuses.size(); ++i) {
      elements.push_back("<item\r\nx='\"' xstatus=\"3\" idx=\"7\"\tstatus=\"" + c.statuses[i] +
                         "\" itemId=\"item" + std::to_string(i + 1) + "\"/>");
    }
    std::string itemId;
    EXPECT_EQ(KELOAccessCommandController::CheckUploadItemByIdx(7, c.album, elements, itemId),
              c.result)
        << c.album << ::testing::PrintToString(c.statuses);
    EXPECT_EQ(itemId, c.itemId) << c.album << ::testing::PrintToString(c.statuses);
  }
}

class NegotiationTest : public CommandTest {
 protected:
  NegotiationTest() {
    Script();
    tagKELO_SessionInfo session = SessionAt(Url());
    tagCommandControlInfo record = Record(&session);
    EXPECT_EQ(controller_.AccessCommand(kKELOCommand_SetSessionInfo, &record), 0u);
  }
  KELOAccessCommandController controller_;
  std::string picture_ = folder().Write("p.jpg", "abc");
  std::vector<tagKELO_LoadInfo> records_ = {UploadOf(picture_, 3)};
};

TEST_F(NegotiationTest, SendsDigestsAndMarksCompleteFiles) {
  std::string memo = folder().Write("m.wav", "");
  records_[0].width = 640;
  records_[0].height = 480;
  records_.push_back(records_[0]);
  records_[1].filePath = Text(memo);
  records_[1].fileSize = 0;
  Script("NegotiateUploadItems",
         "<r stat=\"ok\" uploadId=\"U1\"><items><item idx=\"1\" uploadComplete=\"true\" "
         "itemId=\"N1\" /><item idx=\"2\" uploadComplete=\"false\" itemId=\"N2\" /><item idx=\"3\" "
         "uploadComplete=\"true\" /><item uploadComplete=\"true\" /></items></r>");
  std::string uploadId;
  ASSERT_EQ(controller_.NegotiateUploadItems("A1", records_, uploadId), 0u);
  ExpectDocument(OnlyRequest(),
                 "<NegotiateUploadItems>\r\n<items>\r\n"
                 "<item idx=\"1\" fileName=\"p.jpg\" fileSize=\"3\" fileDate=\"2008-05-17\" "
                 "resolution=\"640x480\" md5=\"900150983cd24fb0d6963f7d28e17f72\" />\r\n"
                 "<item idx=\"2\" fileName=\"m.wav\" fileSize=\"0\" fileDate=\"2008-05-17\" "
                 "md5=\"d41d8cd98f00b204e9800998ecf8427e\" />\r\n"
                 "</items>\r\n</NegotiateUploadItems>\r\n");
  EXPECT_EQ(uploadId, "U1");
  EXPECT_EQ(records_[0].result, 4099u);
  EXPECT_EQ(FieldText(records_[0].itemId), "N1");
  EXPECT_EQ(records_[1].result, 0u);
  EXPECT_EQ(FieldText(records_[1].itemId), "");
  // The record names no album: the complete file shows in the root folder.
  tagKELO_ItemInfo info{};
  tagCommandControlInfo query = Record(&info, "N1");
  EXPECT_EQ(controller_.AccessCommand(kKELOCommand_GetItemInfo, &query), 0u);
  EXPECT_EQ(FieldText(info.name), "p.jpg");
}

TEST_F(NegotiationTest, SendsNothingWithoutRecordsOrWithAnUnreadableFile) {
  std::vector<tagKELO_LoadInfo> none;
  std::string uploadId = "before";
  EXPECT_EQ(controller_.NegotiateUploadItems("A1", none, uploadId), 4144u);
  std::filesystem::remove(picture_);
  EXPECT_EQ(controller_.NegotiateUploadItems("A1", records_, uploadId), 4144u);
  EXPECT_EQ(service().RequestCount(), 0u);
  EXPECT_EQ(uploadId, "before");
}

TEST_F(NegotiationTest, AnAnswerWithoutItsPartsIsAFailure) {
  const std::string items = "<items\r\n><item\tuploadComplete=\"true\" idx=\"1\"/></items>";
  const std::pair<std::string, uint32_t> cases[] = {
      {"<r stat=\"ok\" uploadId=\"U1\">" + items + "</r>", 0},
      {"<r stat=\"ok\" uploadId=\"\">" + items + "</r>", 4144},
      {"<r stat=\"ok\">" + items + "</r>", 4144},
      {"<r stat=\"ok\" uploadId=\"U2\"></r>", 4144},
      {"<r stat=\"ok\" uploadId=\"U2\"><items></items></r>", 4144},
      {"<r stat=\"ok\" uploadId=\"U2\"><items><item idx=\"1\"/></r>", 4144},
  };
  for (const auto& [answer, result] : cases) {
    Script("NegotiateUploadItems", answer);
    records_[0].result = 0;
    std::string uploadId = "before";
    EXPECT_EQ(controller_.NegotiateUploadItems("", records_, uploadId), result) << answer;
    EXPECT_EQ(uploadId, result == 0 ? "U1" : "before") << answer;
    EXPECT_EQ(records_[0].result, result == 0 ? 4099u : 0u) << answer;
  }
}

TEST_F(NegotiationTest, AnUploadIdentifierTravelsInTheDocument) {
  Script("UploadItems", "<r stat=\"ok\"><items><item\nx='1' idx=\"1\" itemId=\"N1\"/></items></r>");
  ASSERT_EQ(controller_.UploadItems("", records_, "U1"), 0u);
  EXPECT_EQ(FieldText(records_[0].itemId), "N1");
  EXPECT_NE(OnlyRequest().body.find("<UploadItems uploadId=\"U1\">\r\n<items>\r\n<item idx=\"1\" "
                                    "fileName=\"p.jpg\" size=\"3\" fileCreateDate="),
            std::string::npos);
}

}  // namespace
}  // namespace kelo::testing
