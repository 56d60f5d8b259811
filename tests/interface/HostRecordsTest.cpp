// What hosts do with their records: option bits of other commands, texts that are null or come out
// empty. Records that are used again are in the tests of their commands.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class HostRecordsTest : public CommandTest {
 protected:
  void SetUp() override {
    OpenScriptedSession();
    LoadSmallHierarchy();
  }
  // A text that a command must leave alone.
  tagKELO_StringInfo Sentinel() { return {sentinel_, 77}; }
  void ExpectUntouched(const tagKELO_StringInfo& info) {
    EXPECT_EQ(info.text, sentinel_);
    EXPECT_EQ(info.length, 77u);
  }

  char sentinel_[4] = "abc";
};

TEST_F(HostRecordsTest, EachOptionIsOneBit) {
  std::string text = "a@x";
  std::string path = folder().Write("a.jpg", "A");
  for (const bool set : {false, true}) {
    const auto send = [&](uint32_t code, void* data, uint32_t option) {
      service().ClearLog();
      SendOne(code, data, "A1", set ? option : ~option);
    };
    tagKELO_ItemInfo item{};
    send(kKELOCommand_GetItemInfo, &item, kKELOOption_AskService);
    EXPECT_EQ(Requests("GetItemsInfo").size(), set ? 1u : 0u);

    tagKELO_RecipientInfo recipients{};
    recipients.recipients = Text(text);
    send(kKELOCommand_VerifyRecipient, &recipients, kKELOOption_ReturnTexts);
    EXPECT_EQ(TakeText(recipients.accepted), set ? text : "");

    for (const uint32_t option : {kKELOOption_VerifyRecipients, kKELOOption_ReturnTexts}) {
      tagKELO_PictureMailInfo mail{};
      mail.recipients = Text(text);
      send(kKELOCommand_SendPictureMail, &mail, option);
      const bool verifies = set == (option == kKELOOption_VerifyRecipients);
      EXPECT_EQ(Requests("VerifyRecipients").size(), verifies ? 1u : 0u);
      EXPECT_EQ(TakeText(mail.accepted), "");  // that takes both
    }

    tagKELO_LoadInfo file = UploadOf(path, 1);
    send(kKELOCommand_Upload, &file, kKELOOption_CheckDuplicates);
    EXPECT_EQ(Requests("CheckUploadItems").size(), set ? 1u : 0u);
  }
}

TEST_F(HostRecordsTest, ANullTextIsEmptyWhateverItsLength) {
  const tagKELO_StringInfo none{nullptr, 9};
  tagKELO_RecipientInfo recipients{};
  recipients.recipients = none;
  EXPECT_EQ(Send(kKELOCommand_VerifyRecipient, Record(&recipients)), 0u);
  EXPECT_EQ(service().RequestCount(), 0u);

  tagKELO_PictureMailInfo mail{};
  mail.recipients = mail.subject = mail.body = none;
  EXPECT_EQ(Send(kKELOCommand_SendPictureMail, Record(&mail, "A1")), 0u);
  ExpectDocument(OnlyRequest(),
                 "<ShareAlbum albumId=\"A1\" recipientList=\"mailto:\" subjectText=\"\" "
                 "bodyText=\"\" removeGPSInfo=\"false\" />\r\n");
  service().ClearLog();

  std::string path;
  tagKELO_LoadInfo file = UploadOf(path, 1);
  file.filePath = file.fileName = none;
  EXPECT_EQ(SendOne(kKELOCommand_Upload, &file, "A1"), 4098u);

  tagKELO_DownloadInfo download = DownloadOf(Url() + "/picture", path);
  download.destPath = none;
  EXPECT_EQ(SendOne(kKELOCommand_Download, &download), 4113u);
  EXPECT_EQ(service().RequestCount(), 0u);
}

TEST_F(HostRecordsTest, TextsThatComeOutEmptyLeaveTheRecordAlone) {
  std::string text = "a@x";
  const std::string refusal =
      "<r stat=\"fail\" errcode=\"313\" errmsg=\"Invalid recipient: a@x\" />";
  for (const bool refused : {false, true}) {
    Requeue("VerifyRecipients", refused ? refusal : kOk);
    tagKELO_RecipientInfo recipients{Text(text), Sentinel(), Sentinel()};
    tagCommandControlInfo record = Record(&recipients, "A1");
    record.outputOptions = kKELOOption_ReturnTexts | kKELOOption_VerifyRecipients;
    EXPECT_EQ(Send(kKELOCommand_VerifyRecipient, record), refused ? 4117u : 0u);
    ExpectUntouched(refused ? recipients.accepted : recipients.rejected);
    EXPECT_EQ(TakeText(refused ? recipients.rejected : recipients.accepted), text);

    tagKELO_PictureMailInfo mail{};
    mail.recipients = Text(text);
    mail.accepted = mail.rejected = Sentinel();
    record.data = &mail;
    EXPECT_EQ(Send(kKELOCommand_SendPictureMail, record), 0u);
    EXPECT_EQ(mail.status, refused ? 4117u : 0u);
    ExpectUntouched(refused ? mail.accepted : mail.rejected);
    EXPECT_EQ(TakeText(refused ? mail.rejected : mail.accepted), text);
  }
  Queue("GetAddressList", "<r stat=\"ok\" addressList=\"\" />");
  tagKELO_StringInfo list = Sentinel();
  EXPECT_EQ(Send(kKELOCommand_GetAddressList, Record(&list)), 0u);
  ExpectUntouched(list);
}

}  // namespace
}  // namespace kelo::testing
