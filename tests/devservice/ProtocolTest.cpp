// What the service refuses, and what no host asks it for. The ordinary course of everything is
// shown by the library's tests and by kelo's, which use it as their server.

#include "devservice/Client.h"
#include "devservice/protocol/Digest.h"
#include "devservice/protocol/References.h"
#include "devservice/protocol/RequestDocument.h"

namespace kelo::devservice {
namespace {

const std::filesystem::path kSamples = KELO_SAMPLES_DIRECTORY;

struct ProtocolTest : ServiceTest {
  ProtocolTest() {
    service.Import(kSamples / "mine");
    item = client.GetHierarchy().Attribute("itemId");
  }
  std::string item;
};

// What a method is asked, and "ok" or the error number.
struct Case {
  std::string method;
  std::string attributes;
  std::string outcome;
};

TEST_F(ServiceTest, OpensForTheRightCredentialsOnly) {
  const auto outcome = [&](const std::string& url) { return client.Send("GET", url).Outcome(); };
  EXPECT_EQ(outcome(client.OpenUrl("wrong", service.AuthToken())), "101");
  EXPECT_EQ(outcome(client.OpenUrl(service.ApiKey(), "wrong")), "102");
  const std::string url = client.OpenUrl(service.ApiKey(), service.AuthToken());
  EXPECT_EQ(outcome(url), "ok");
  EXPECT_EQ(outcome(url), "104") << "the same call id again";
  EXPECT_EQ(outcome(url.substr(0, url.find("&keloApiSig"))), "105");
  client.secret += "x";
  EXPECT_EQ(outcome(client.OpenUrl(service.ApiKey(), service.AuthToken())), "103");
}

TEST_F(ServiceTest, ChecksEveryQuery) {
  const std::string document = Client::kDeclarations + "<GetUserArchiveInfo />\r\n";
  const auto signedQuery = [&](const std::string& query) {
    return query + "&keloApiSig=" + Sha1Hex(client.secret + "?" + query + "\r\n" + document);
  };
  const std::string token = "keloSessToken=" + client.token;
  const std::pair<std::string, std::string> cases[] = {
      {signedQuery(token + "&callId=5"), "ok"},
      {signedQuery(token + "&callId=5"), "104"},
      {signedQuery(token + "&callId=4"), "ok"},
      {signedQuery(token + "&callId=6") + "0", "103"},
      {signedQuery(token + "&callId=06"), "105"},
      {signedQuery(token + "&callId="), "105"},
      {signedQuery(token + "&callId=6&more=1"), "105"},
      {signedQuery("callId=6&" + token), "105"},
      {signedQuery("keloSessToken=" + std::string(27, 'A') + "&callId=6"), "107"},
      {signedQuery("keloSessToken=&callId=6"), "107"},
      {token + "&callId=6", "105"},
  };
  for (const auto& [query, outcome] : cases) {
    const Response response = client.Send("PUT", client.manageUrl + "?" + query, &document);
    EXPECT_EQ(response.Outcome(), outcome) << query << response.body;
  }
}

TEST_F(ServiceTest, SessionsEndByExpiryAndByClosing) {
  EXPECT_EQ(client.Close().Outcome(), "ok");
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Outcome(), "107");

  Service impatient({.tokenLifetime = std::chrono::seconds(0)});
  Client late(impatient);
  late.Open();
  EXPECT_EQ(late.Call("GetUserArchiveInfo").Outcome(), "108");
}

TEST_F(ProtocolTest, MethodsCheckTheirAttributes) {
  const std::string order = " sortBy=\"UploadDate\" sortOrder=\"desc\"";
  const std::string ofItem = " itemIdList=\"" + item + "\"";
  const Case cases[] = {
      {"Nothing", "", "106"},
      {"CheckUploadItems", "", "106"},
      {"GetUserArchiveInfo", " more=\"1\"", "401"},
      {"GetForeignAlbumItems", "", "401"},
      {"GetItemsInfo", order + ofItem, "401"},
      {"GetItemsInfo", " itemIdList=\"nobody\"" + order, "302"},
      {"AddFolder", " folderName=\"\"", "301"},
      {"AddFolder", " folderName=\"&bad;\"", "401"},
      {"AddAlbum", " folderId=\"nowhere\" albumName=\"x\"", "207"},
      {"AddAlbum", " folderId=\"KELO_CACHEINFO_ROOT_ID\" albumName=\"x\"", "ok"},
      {"AddItemsToAlbum", " albumId=\"nowhere\"" + ofItem, "207"},
      {"AddItemsToAlbum", " albumId=\"" + std::string(27, '\xF8') + "\"" + ofItem, "ok"},
      {"AddTags", " itemIdList=\"\" tagList=\"x\"", "301"},
      {"ModifyProps", ofItem, "401"},
  };
  for (const Case& c : cases) {
    const Response response = client.Call(c.method, c.attributes);
    EXPECT_EQ(response.Outcome(), c.outcome) << c.method << c.attributes << response.body;
  }
}

TEST_F(ProtocolTest, PropertiesAreCheckedAndKept) {
  const std::pair<std::string, std::string> cases[] = {
      {"caption\" value=\"&#233;&lt;", "ok"}, {"captionFlag\" value=\"true", "ok"},
      {"rating\" value=\"4", "ok"},           {"rating\" value=\"6", "311"},
      {"file\" value=\"/etc", "301"},         {"&quot;\" value=\"", "301"}};
  for (const auto& [property, outcome] : cases) {
    const std::string document = "<ModifyProps itemIdList=\"" + item + "\">\r\n<property name=\"" +
                                 property + "\" />\r\n</ModifyProps>";
    EXPECT_EQ(client.SendDocument(Client::kDeclarations + document).Outcome(), outcome) << property;
  }
  client.Call("AddTags", " itemIdList=\"" + item + "\" tagList=\"sea,sun\"");
  const Response info = client.ItemInfo(item);
  EXPECT_NE(info.body.find("\">\r\n<property"), std::string::npos) << info.body;
  EXPECT_EQ(Between(info.body, "<property name=\"", "\" />"),
            (std::vector<std::string>{cases[0].first, cases[1].first, cases[2].first,
                                      "size\" value=\"5013", "tagList\" value=\"sea,sun"}));
}

TEST_F(ProtocolTest, AnImportedTreeIsListedInOrderAndCompressedOnlyWhenAskedFor) {
  service.ImportFriend(kSamples / "friend");
  const Response plain = client.GetHierarchy();
  const std::string root = Between(plain.body, "<rootAlbum>", "</rootAlbum>").at(0);
  EXPECT_EQ(Between(root, "fileName=\"", "\""), (std::vector<std::string>{"dawn.jpg", "dawn.wav"}));
  EXPECT_EQ(Between(root, "fileFormat=\"", "\""),
            (std::vector<std::string>{"image/jpeg", "audio/x-wav"}));
  EXPECT_EQ(Between(root, "shotDate=\"", "\""), std::vector<std::string>{"2025:12:31 07:58:12"});
  const Response foreign = client.Call("GetForeignAlbumItems", " needDate=\"true\"");
  EXPECT_EQ(foreign.Attribute("albumName"), "Anna&apos;s birthday");
  EXPECT_EQ(foreign.Attribute("itemsCount"), "2");
  EXPECT_EQ(client.Send("GET", service.Url() + "/P2PwebCmdController/download/original/x").status,
            404);
  client.Call("AddFolder", " folderName=\"Away\"");
  const Response sorted = client.GetHierarchy(
      " folderSortBy=\"Name\" folderSortOrder=\"desc\" albumSortBy=\"Name\" albumSortOrder=\"asc\""
      " sortBy=\"FileName\" sortOrder=\"desc\"");
  EXPECT_EQ(Between(sorted.body, "Name=\"", "\""),
            (std::vector<std::string>{"dawn.wav", "dawn.jpg", "Journeys", "Lisbon", "tram.jpg",
                                      "caf&#233; &#224; noite.jpg", "&#20140;&#37117;",
                                      "&#26716;&#12398;&#24237;.jpg", "Away", "Garden",
                                      "rosebed.jpg", "pond &amp; frog.jpg"}));

  EXPECT_EQ(plain.head.find("Content-Encoding"), std::string::npos);
  const std::string document = service.Arrived().at(service.Arrived().size() - 5).body;
  const Response packed = client.Send("PUT", client.manageUrl + "?" + client.Query(document),
                                      &document, {"Accept-Encoding: gzip"});
  EXPECT_NE(packed.head.find("Content-Encoding: gzip"), std::string::npos) << packed.head;
  EXPECT_TRUE(packed.body.starts_with("\x1F\x8B"));
  EXPECT_LT(packed.body.size(), plain.body.size());
}

TEST_F(ProtocolTest, SharingReachesTheOtherAccountForReadingOnly) {
  Client reader(service, service.AddAccount("Sister@Home.example"));
  reader.Open();
  const std::string garden = Between(client.GetHierarchy().body, "<album ", "</album>").back();
  const std::string album = "albumId=\"" + Between(garden, "albumId=\"", "\"").at(0) + "\"";
  const std::string ofItem = " itemIdList=\"" + Between(garden, "itemId=\"", "\"").at(0) + "\"";
  const std::string ask = ofItem + " sortBy=\"UploadDate\" sortOrder=\"desc\"";
  EXPECT_EQ(reader.Call("GetItemsInfo", ask).Outcome(), "312") << "not shared yet";
  const Response shared =
      client.Call("ShareAlbum", " " + album +
                                    " recipientList=\"mailto:sister@home.example;;x@y.example\""
                                    " subjectText=\"&#233;\" bodyText=\"&lt;hi&gt;\""
                                    " removeGPSInfo=\"true\"");
  ASSERT_EQ(shared.Outcome(), "ok");
  const auto mails = service.Outbox();
  ASSERT_EQ(mails.size(), 1u);
  EXPECT_EQ(mails[0].recipients, (std::vector<std::string>{"sister@home.example", "x@y.example"}));
  EXPECT_NE(client.Call("GetAddressList").Attribute("addressList").find(";x@y.example"),
            std::string::npos);
  const Response foreign = reader.Call("GetForeignAlbumItems", " needDate=\"true\"");
  EXPECT_NE(foreign.body.find(album), std::string::npos);
  EXPECT_EQ(Between(client.GetHierarchy().body, "shareFlag=\"", "\""),
            (std::vector<std::string>{"false", "false", "true"}));
  EXPECT_EQ(reader.Call("GetItemsInfo", ask).Outcome(), "ok");
  EXPECT_EQ(reader.Call("AddTags", ofItem + " tagList=\"x\"").Outcome(), "312");
  EXPECT_EQ(reader.Call("AddItemsToAlbum", " " + album + " itemIdList=\"x\"").Outcome(), "312");
}

TEST_F(ServiceTest, OneBadRecipientIsNamedAtATime) {
  const std::pair<std::string, std::string> cases[] = {
      {"mailto:a@b.example;; c@d.example ", ""},  // all are good
      {"mailto:Name &lt;a@b.example&gt;;c@d", ""},
      {"AAAAA", "AAAAA"},
      {"mailto:a@b.example; x ;y", "x"},
      {"mailto:a@b@c;d@e", "a@b@c"},
      {"mailto:@b;d@", "@b"},
      {"mailto:d@", "d@"},
      {"mailto:Name &lt;o&apos;where&gt;", "o&apos;where"},  // escaped, as it came
  };
  for (const auto& [list, bad] : cases) {
    const Response response = client.Call("VerifyRecipients", " recipientList=\"" + list + "\"");
    EXPECT_EQ(response.Outcome(), bad.empty() ? "ok" : "313") << list;
    const auto named = Between(response.body, "Invalid recipient: ", "\"");
    EXPECT_EQ(named.empty() ? "" : named.back(), bad) << list;
  }
}

TEST(References, StandForSignsAndAreRefusedWhereTheyAreNoText) {
  EXPECT_EQ(EncodeReferences("caf\u00E9\r\n"), "caf&#233;&#13;&#10;");
  for (const char* bad : {"&", "&unknown;", "&#;", "&#12", "&#x;", "&#55357;", "&#56832;&#55357;",
                          "&#1114112;", "\xFF", "\xC3", "\xED\xA0\x80", "\xC0\x80"})
    EXPECT_EQ(DecodeReferences(bad), std::nullopt) << bad;
  EXPECT_EQ(DecodeReferences("&#x41;"), "A");
}

TEST(RequestDocument, TakesThePrescribedLayoutOnly) {
  const std::string& head = Client::kDeclarations;
  const char* good[] = {
      "<M a=\"&lt;&#233;\" b=\"\" />\r\n",
      "<M>\r\n<items>\r\n<item idx=\"1\" />\r\n</items>\r\n</M>\r\n",
      "<ModifyProps itemIdList=\"x\">\r\n</ModifyProps>",
      "<AddItemsToAlbum albumId=\"\xF8\xF8\" itemIdList=\"x\" />\r\n",
  };
  std::vector<std::string> bad = {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n" +
                                      head.substr(head.find("<?pro")) + "<M />\r\n",
                                  "<M />\r\n", ""};
  for (const char* text : {"<AddItemsToAlbum albumId=\"\xF8<\" itemIdList=\"x\" />\r\n",
                           "<ModifyProps itemIdList=\"x\">\r\n</ModifyProps>\r\n",
                           "<a>\r\n<b>\r\n<c>\r\n<d>\r\n<e />\r\n</d>\r\n</c>\r\n</b>\r\n</a>\r\n"})
    bad.push_back(head + text);
  for (const char* text :
       {"", "<M />", "<M/>\r\n", "<M />\n", "<M  a=\"1\" />\r\n", "<M a='1' />\r\n",
        "<M a=\"1\" a=\"2\" />\r\n", "<M a=\"1\"b=\"2\" />\r\n", "<M a=\"x<y\" />\r\n",
        "<M a=\"x&y\" />\r\n", "<M>\r\n</N>\r\n", "<M />\r\n "})
    bad.push_back(head + text);
  std::string reason;
  for (const std::string text : good) {
    EXPECT_TRUE(ReadRequestDocument(head + text, reason)) << text << reason;
    EXPECT_EQ(reason, "") << text;
  }
  for (const std::string& document : bad) {
    reason.clear();
    EXPECT_FALSE(ReadRequestDocument(document, reason)) << document;
    EXPECT_NE(reason, "") << document;
  }
  EXPECT_FALSE(ReadRequestDocument(head + "<M />", reason));
  EXPECT_EQ(reason, "expected \"\\r\\n\" at byte 88");
}

}  // namespace
}  // namespace kelo::devservice
