// How recipients are verified, and albums are shared by mail.

#include "commands/PendingRecipients.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

TEST(PendingRecipients, TakesTheEntryThatStandsForAnAddress) {
  const struct {
    const char* list;
    const char* address;
    const char* taken;  // null: none
    const char* left;
  } cases[] = {
      {"a@x;b@x", "B@X", "b@x", "a@x"},
      {"a@x; b@x ;c@x", "b@x", " b@x ", "a@x;c@x"},
      {"Bea <b@x>;b@x", "b@x", "b@x", "Bea <b@x>"},
      {"a@x;Bea <b@x>", "b@x", "Bea <b@x>", "a@x"},
      {"b@x;b@x", "b@x", "b@x", "b@x"},
      {"STRASSE@x", "stra\u00DFe@x", "STRASSE@x", ""},
      {"ab@x;<>", "b@x", nullptr, "ab@x;<>"},
      {"a@x;;b@x", "", "", "a@x;b@x"},
      {"a@x;o'brien@x", "o&apos;brien@x", "o'brien@x", "a@x"},
      {"a@x;R&D@x", "r&amp;d@x", "R&D@x", "a@x"},
      {"a&#1@x", "a&#1@x", "a&#1@x", ""},
      {"b@x;Bob <b@x>", "Bob &lt;b@x&gt;", "Bob <b@x>", "b@x"},
      {"a@x;b@x", "Bob &lt;b@x&gt;", "b@x", "a@x"},
      {"b@x;a@x", "mailto:a@x", "a@x", "b@x"},
      {"mailto:b@x;a@x", "b@x", "mailto:b@x", "a@x"},
      {"Bea <B@x>;a@x", "mailto:b@x", "Bea <B@x>", "a@x"},
      {"Bea <b&c@x>;a@x", "&lt;mailto:b&amp;c@x&gt;", "Bea <b&c@x>", "a@x"},
      {"a@x;mailto:", "mailto", nullptr, "a@x;mailto:"},
      {";a@x", "mailto:", nullptr, ";a@x"},
  };
  for (const auto& c : cases) {
    PendingRecipients pending(c.list);
    const auto taken = pending.Take(c.address);
    EXPECT_EQ(taken.value_or("none"), c.taken != nullptr ? c.taken : "none") << c.list;
    EXPECT_EQ(pending.Joined(), c.left) << c.list;
  }
}

class SharingTest : public CommandTest {
 protected:
  void SetUp() override { OpenScriptedSession(); }

  struct Verification {
    uint32_t result;
    std::string accepted, rejected;
  };
  Verification Verify(std::string list, uint32_t options = kKELOOption_ReturnTexts) {
    tagKELO_RecipientInfo record{Text(list), {}, {}};
    const uint32_t result = Send(kKELOCommand_VerifyRecipient, Record(&record, {}, options));
    return {result, TakeText(record.accepted), TakeText(record.rejected)};
  }
};

TEST_F(SharingTest, VerificationTakesOneRoundForEachRejection) {
  Script("VerifyRecipients", RejectionOf("no, Invalid recipient: x@x"), RejectionOf("y@x"), kOk);
  Verification verification = Verify("a@x,x@x;;b@x;y@x");
  EXPECT_EQ(verification.result, 4117u);
  EXPECT_EQ(verification.accepted, "a@x;;b@x");
  EXPECT_EQ(verification.rejected, "x@x;y@x");
  const auto log = service().Arrived();
  ASSERT_EQ(log.size(), 3u);
  ExpectDocument(log[0], "<VerifyRecipients recipientList=\"mailto:a@x;x@x;;b@x;y@x\" />\r\n");
  ExpectDocument(log[2], "<VerifyRecipients recipientList=\"mailto:a@x;;b@x\" />\r\n");

  Script("VerifyRecipients", RejectionOf("x@x"), kOk);
  verification = Verify("x@x", 0);
  EXPECT_EQ(verification.result, 4117u);
  EXPECT_EQ(verification.rejected, "");
  verification = Verify("a@x;b@x");
  EXPECT_EQ(verification.result, 0u);
  EXPECT_EQ(verification.accepted, "a@x;b@x");
  EXPECT_EQ(Verify("").result, 0u);
}

TEST_F(SharingTest, VerificationEndsWhateverTheServiceSays) {
  const std::string answers[] = {
      RejectionOf("never@sent"),
      "<r stat=\"fail\" errcode=\"313\" errmsg=\"no marker\" />",
      "<r stat=\"fail\" errcode=\"313\" />",
      "<r stat=\"fail\" errcode=\"207\" errmsg=\"Invalid recipient: a@x\" />",
      "<r stat=\"fail\" errcode=\"0313\" errmsg=\"Invalid recipient: a@x\" />",
      "<r stat=\"fail\" errmsg=\"Invalid recipient: a@x\" />",
      RejectionOf("a@x"),  // for ever: rejected once, then nobody's
  };
  for (const std::string& answer : answers) {
    Script("VerifyRecipients", answer);
    const Verification verification = Verify("a@x;b@x");
    EXPECT_EQ(verification.result, 4144u) << answer;
    EXPECT_EQ(verification.accepted + verification.rejected, "") << answer;
  }
  EXPECT_EQ(service().RequestCount(), std::size(answers) + 1) << "only the last is asked again";
}

TEST_F(SharingTest, MailGoesToThoseWhoAreLeft) {
  const char* refused = "<r stat=\"fail\" errcode=\"314\" />";
  struct {
    std::string recipients;
    uint32_t options;
    uint32_t removeGPS;
    const char* share;  // the answer to the sharing
    uint32_t result, status;
    size_t requests;
    const char* sentTo;
    const char* accepted;
    const char* rejected;
  } cases[] = {
      {"a@x,x@x", 0x100, 2, kOk, 0, 0, 1, "a@x,x@x", "", ""},
      {"a@x,x@x", 0x200, 0, kOk, 0, 4117, 3, "a@x", "", ""},
      {"x@x", 0x200, 0, kOk, 0, 4117, 2, "", "", ""},  // even to nobody
      {"a@x,x@x", 0x300, 1, kOk, 0, 4117, 3, "a@x", "a@x", "x@x"},
      {"a@x,x@x", 0x300, 1, refused, 4115, 4115, 3, "a@x", "", ""},
  };
  std::string subject = "S<1>\r\n";
  std::string body = "\xE6\xB5\xB7 & sea";
  for (auto& c : cases) {
    Script("ShareAlbum", c.share);
    Script("VerifyRecipients", RejectionOf("x@x"), kOk);
    service().ClearArrived();
    tagKELO_PictureMailInfo mail{99,         Text(c.recipients), {}, {}, Text(subject),
                                 Text(body), c.removeGPS};
    EXPECT_EQ(Send(kKELOCommand_SendPictureMail, Record(&mail, "A1", c.options)), c.result)
        << c.options;
    EXPECT_EQ(mail.status, c.status) << c.options;
    const auto log = service().Arrived();
    ASSERT_EQ(log.size(), c.requests);
    ExpectDocument(log.back(), std::string("<ShareAlbum albumId=\"A1\" recipientList=\"mailto:") +
                                   c.sentTo +
                                   "\" subjectText=\"S&lt;1&gt;&#13;&#10;\""
                                   " bodyText=\"&#28023; &amp; sea\" removeGPSInfo=\"" +
                                   (c.removeGPS == 1 ? "true" : "false") + "\" />\r\n");
    EXPECT_EQ(TakeText(mail.accepted), c.accepted) << c.options;
    EXPECT_EQ(TakeText(mail.rejected), c.rejected) << c.options;
  }
}

TEST_F(SharingTest, PictureMailNeedsAnAlbumAndAVerificationThatIsAnswered) {
  std::string recipients = "x@x";
  tagKELO_PictureMailInfo mail{};
  mail.recipients = Text(recipients);
  EXPECT_EQ(Send(kKELOCommand_SendPictureMail, Record(&mail)), 4112u);
  EXPECT_EQ(service().RequestCount(), 0u);
  Script("VerifyRecipients", ReplyWith("", 408));
  const uint32_t options = kKELOOption_VerifyRecipients | kKELOOption_ReturnTexts;
  EXPECT_EQ(Send(kKELOCommand_SendPictureMail, Record(&mail, "A1", options)), 4128u);
  EXPECT_EQ(mail.status, 4128u);
  EXPECT_EQ(service().RequestCount(), 1u);
}

}  // namespace
}  // namespace kelo::testing
