// Opening, handing out, restoring, extending and closing a session, as the wire and the host see
// it.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class SessionTest : public CommandTest {
 protected:
  tagKELO_SessionInfo Session() {
    tagKELO_SessionInfo session{};
    EXPECT_EQ(Send(kKELOCommand_GetSessionInfo, Record(&session)), 0u);
    return session;
  }
  // The one of the known secrets that signs the session's requests.
  std::string SecretInUse() {
    service().ClearArrived();
    Send(kKELOCommand_CloseSession, {});
    const std::string query = OnlyRequest().query;
    const size_t end = query.find("&keloApiSig=");
    for (const std::string& secret :
         {service().Secret(), std::string("of another account"), std::string(32, 's')})
      if (query.substr(end + 12) == Sha1Hex(secret + "?" + query.substr(0, end))) return secret;
    return "none of them";
  }
};

TEST_F(SessionTest, OpenAndCloseAreSignedGetsOfTheAuthenticationPath) {
  ASSERT_EQ(Open(), 0u);
  const ClientRequest open = OnlyRequest();
  EXPECT_EQ(open.verb, "GET");
  EXPECT_EQ(open.path, "/P2PwebCmdController/api-auth");
  EXPECT_EQ(open.body, "");
  const std::string opening = "method=OpenSession&callId=" + QueryValue(open.query, "callId") +
                              "&keloApiKey=" + service().ApiKey() +
                              "&keloAuthToken=" + service().AuthToken();
  EXPECT_EQ(open.query, opening + "&keloApiSig=" + Sha1Hex(service().Secret() + "?" + opening));

  service().ClearArrived();
  const tagKELO_SessionInfo before = Session();
  ASSERT_EQ(Send(kKELOCommand_CloseSession, {}), 0u);
  const ClientRequest close = OnlyRequest();
  const std::string closing = "keloSessToken=" + FieldText(before.token) +
                              "&method=CloseSession&callId=" + QueryValue(close.query, "callId");
  EXPECT_EQ(close.path, "/P2PwebCmdController/api-auth");
  EXPECT_EQ(close.query, closing + "&keloApiSig=" + Sha1Hex(service().Secret() + "?" + closing));
  EXPECT_GT(std::stoull(QueryValue(close.query, "callId")),
            std::stoull(QueryValue(open.query, "callId")));
  // The block stays; only the service has forgotten the token.
  EXPECT_EQ(KELOAccessInitialize(1000), 0u);  // nor does a second initialisation change anything
  const tagKELO_SessionInfo after = Session();
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
  service().ClearArrived();
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, {}), uint32_t{kKELOResult_NoSession});
  ExpectDocument(OnlyRequest(), "<GetUserArchiveInfo />\r\n");
}

TEST_F(SessionTest, AnswersFillOnlyWhatTheyHold) {
  Script("OpenSession",
         "<r stat=\"ok\" keloSessToken=\"TOKEN6789012345678901234567, and more\" "
         "keloUploadUrl=\"http://u\" keloManageUrl=\"http://m\" keloDownloadUrl=\"http://d\" />",
         "<r stat=\"ok\" keloSessToken=\"SHORT\" keloUploadUrl=\"\" keloManageUrl=\"" +
             std::string(300, 'm') + "\" />",
         "<r stat=\"fail\" errcode=\"401\" keloSessToken=\"NEVER\" />", kOk);
  ASSERT_EQ(Open(7), 0u);
  EXPECT_EQ(FieldText(Session().token), "TOKEN6789012345678901234567");
  EXPECT_EQ(Session().word, 7u);
  ASSERT_EQ(Open(8), 0u);
  tagKELO_SessionInfo session = Session();
  EXPECT_EQ(FieldText(session.token), "SHORT");
  EXPECT_EQ(FieldText(session.uploadUrl), "");
  EXPECT_EQ(FieldText(session.manageUrl), std::string(255, 'm'));
  EXPECT_EQ(FieldText(session.downloadUrl), "http://d");
  // A failure changes nothing; an answer without attributes changes the host's word alone.
  EXPECT_EQ(Open(9), uint32_t{kKELOResult_BadParameter});
  EXPECT_EQ(Session().word, 8u);
  EXPECT_EQ(Open(10), 0u);
  session.word = 10;
  const tagKELO_SessionInfo now = Session();
  EXPECT_EQ(std::memcmp(&session, &now, sizeof now), 0);
}

TEST_F(SessionTest, OnlyASessionThatOpensReplacesSecretAndCatalogue) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  const std::tuple<const char*, uint32_t, uint32_t> answers[] = {
      {"<r stat=\"fail\" errcode=\"401\" />", 4112, 4}, {"<r />", 4144, 4}, {kOk, 0, 0}};
  for (const auto& [answer, result, items] : answers) {
    Script("OpenSession", answer);
    tagKELO_OpenSessionInfo block{};
    tagCommandControlInfo record = Record(&block);
    SetField(record.signingSecret, "of another account");
    EXPECT_EQ(Send(kKELOCommand_OpenSession, record), result) << answer;
    EXPECT_EQ(SecretInUse(), result == 0 ? "of another account" : service().Secret()) << answer;
    EXPECT_EQ(Count(KELO_ALL_ITEMS_ID, kKELOKind_FileItem), items) << answer;
  }
}

TEST_F(SessionTest, OpenReadsUnterminatedFieldsToTheirWidth) {
  Script("OpenSession", "<r stat=\"ok\" keloSessToken=\"T\" />");
  tagKELO_OpenSessionInfo block{};
  tagCommandControlInfo record = Record(&block);
  std::memset(record.authToken, 'a', sizeof record.authToken);
  std::memset(record.apiKey, 'k', sizeof record.apiKey);
  std::memset(record.signingSecret, 's', sizeof record.signingSecret);
  ASSERT_EQ(KELOAccessCommand(kKELOCommand_OpenSession, &record), 0u);
  const std::string query = OnlyRequest().query;
  EXPECT_EQ(QueryValue(query, "keloApiKey"), std::string(33, 'k'));
  EXPECT_EQ(QueryValue(query, "keloAuthToken"), std::string(33, 'a'));
  EXPECT_EQ(QueryValue(query, "keloApiSig"),
            Sha1Hex(std::string(33, 's') + "?" + query.substr(0, query.find("&keloApiSig"))));

  // Of the secret, 32 characters are kept for the requests that follow.
  EXPECT_EQ(SecretInUse(), std::string(32, 's'));
}

TEST_F(SessionTest, ARestoredSessionReplacesSessionAndCatalogueAndKeepsTheSecretUnlessGiven) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  tagKELO_SessionInfo session = SessionAt(Url());
  tagCommandControlInfo record = Record(&session);
  SetField(record.signingSecret, "");
  ASSERT_EQ(KELOAccessCommand(kKELOCommand_SetSessionInfo, &record), 0u);
  EXPECT_EQ(Count(KELO_ALL_ITEMS_ID, kKELOKind_Album | kKELOKind_FileItem | kKELOKind_FriendAlbum),
            0u);

  EXPECT_EQ(SecretInUse(), service().Secret());
  SetField(record.signingSecret, "of another account");
  ASSERT_EQ(KELOAccessCommand(kKELOCommand_SetSessionInfo, &record), 0u);
  EXPECT_EQ(SecretInUse(), "of another account");

  std::memset(&session, 7, sizeof session);
  UseSession(session);
  const tagKELO_SessionInfo handedOut = Session();
  EXPECT_EQ(std::memcmp(&handedOut, &session, sizeof session), 0) << "as it was adopted";
  session = {};
  ASSERT_EQ(Send(kKELOCommand_SetSessionInfo, Record(&session)), 0u);
  EXPECT_EQ(Send(kKELOCommand_LoadHierarchy, {}), uint32_t{kKELOResult_NoSession});
  std::memset(&session, 0x55, sizeof session);
  EXPECT_EQ(Send(kKELOCommand_GetSessionInfo, Record(&session)), uint32_t{kKELOResult_NotFound});
  EXPECT_EQ(session.word, 0x55555555u);
}

TEST_F(SessionTest, ExtendingUsesTheHostsBlockAloneAndIgnoresTheOutcome) {
  Script();
  tagKELO_SessionInfo block = SessionAt(Url());
  ASSERT_EQ(Send(kKELOCommand_ExtendTokenLimit, Record(&block)), 0u);
  ExpectDocument(OnlyRequest(), "<VerifyRecipients recipientList=\"AAAAA\" />\r\n");
  EXPECT_EQ(QueryValue(OnlyRequest().query, "keloSessToken"), FieldText(block.token));
  EXPECT_EQ(Send(kKELOCommand_GetSessionInfo, Record(&block)), uint32_t{kKELOResult_NotFound});

  // Beside a session of its own the library uses, and keeps, nothing of that.
  OpenScriptedSession();
  const tagKELO_SessionInfo before = Session();
  service().ClearArrived();
  SetField(block.token, "OTHERTOKEN");
  SetField(block.manageUrl, Url() + "/elsewhere");
  tagCommandControlInfo record = Record(&block);
  std::memset(record.signingSecret, 'e', sizeof record.signingSecret);
  ASSERT_EQ(Send(kKELOCommand_ExtendTokenLimit, record), 0u);
  const ClientRequest extending = OnlyRequest();
  EXPECT_EQ(extending.path, "/elsewhere");
  const std::string base =
      "keloSessToken=OTHERTOKEN&callId=" + QueryValue(extending.query, "callId");
  EXPECT_EQ(
      extending.query,
      base + "&keloApiSig=" + Sha1Hex(std::string(33, 'e') + "?" + base + "\r\n" + extending.body));
  const tagKELO_SessionInfo after = Session();
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
  EXPECT_EQ(SecretInUse(), service().Secret());

  Script("VerifyRecipients", ReplyWith("", 500));
  EXPECT_EQ(Send(kKELOCommand_ExtendTokenLimit, Record(&block)), 0u);
  service().ClearArrived();
  SetField(block.manageUrl, "");
  EXPECT_EQ(Send(kKELOCommand_ExtendTokenLimit, Record(&block)),
            uint32_t{kKELOResult_BadParameter});
  block = SessionAt(Url());
  SetField(block.token, "");
  EXPECT_EQ(Send(kKELOCommand_ExtendTokenLimit, Record(&block)),
            uint32_t{kKELOResult_BadParameter});
  EXPECT_EQ(service().RequestCount(), 0u);
}

}  // namespace
}  // namespace kelo::testing
