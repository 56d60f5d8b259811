// Queries, signatures, sessions, the catalogue.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "devservice/Client.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

const fs::path kSamples = KELO_SAMPLES_DIRECTORY;

std::string BytesOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Session, OpensForTheRightCredentialsOnly) {
  Service service;
  Client client(service);
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

TEST(Session, ChecksEveryQuery) {
  Service service;
  Client client(service);
  client.Open();
  const std::string document = Client::kDeclarations + "<GetUserArchiveInfo />\r\n";
  const auto signedQuery = [&](const std::string& query) {
    return query + "&keloApiSig=" + Sha1OfText(client.secret + "?" + query + "\r\n" + document);
  };
  const std::string token = "keloSessToken=" + client.token;
  struct Case {
    std::string query;
    std::string outcome;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    const Response response = client.Send("PUT", client.manageUrl + "?" + c.query, &document);
    EXPECT_EQ(response.Outcome(), c.outcome) << c.query << response.body;
  }
}

TEST(Session, EndsByExpiryAndByClosing) {
  Service service;
  Client client(service);
  client.Open();
  service.ExpireTokens();
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Outcome(), "108");
  client.Open();
  EXPECT_EQ(client.Close().Outcome(), "ok");
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Outcome(), "107");

  Service::Options options;
  options.tokenLifetime = std::chrono::seconds(0);
  Service impatient(options);
  Client late(impatient);
  late.Open();
  EXPECT_EQ(late.Call("GetUserArchiveInfo").Outcome(), "108");
}

TEST(Methods, CheckTheirAttributes) {
  Service service;
  service.Import(kSamples / "mine");
  Client client(service);
  client.Open();
  const std::string item = client.GetHierarchy().Attribute("itemId");
  struct Case {
    std::string method;
    std::string attributes;
    std::string outcome;
  };
  const Case cases[] = {
      {"Nothing", "", "106"},
      {"CheckUploadItems", "", "106"},
      {"GetUserArchiveInfo", " more=\"1\"", "401"},
      {"GetForeignAlbumItems", "", "401"},
      {"GetStorageCapacity", "", "ok"},
      {"GetItemsInfo", " itemIdList=\"" + item + "\" sortBy=\"UploadDate\" sortOrder=\"desc\"",
       "ok"},
      {"GetItemsInfo", " sortBy=\"UploadDate\" sortOrder=\"desc\" itemIdList=\"" + item + "\"",
       "401"},
      {"GetItemsInfo", " itemIdList=\"nobody\" sortBy=\"UploadDate\" sortOrder=\"desc\"", "302"},
      {"AddFolder", " folderName=\"\"", "301"},
      {"AddFolder", " folderName=\"&bad;\"", "401"},
      {"AddAlbum", " folderId=\"nowhere\" albumName=\"x\"", "207"},
      {"AddAlbum", " folderId=\"KELO_CACHEINFO_ROOT_ID\" albumName=\"x\"", "ok"},
      {"AddItemsToAlbum", " albumId=\"nowhere\" itemIdList=\"" + item + "\"", "207"},
      {"AddItemsToAlbum",
       " albumId=\"" + std::string(27, '\xF8') + "\" itemIdList=\"" + item + "\"", "ok"},
      {"AddTags", " itemIdList=\"\" tagList=\"x\"", "301"},
      {"VerifyRecipients", " recipientList=\"AAAAA\"", "313"},
      {"ModifyProps", " itemIdList=\"" + item + "\"", "401"},
  };
  for (const Case& c : cases) {
    const Response response = client.Call(c.method, c.attributes);
    EXPECT_EQ(response.Outcome(), c.outcome) << c.method << c.attributes << response.body;
  }
}

TEST(Catalogue, ShowsAnImportedTreeAndGivesItsBytes) {
  Service service;
  service.Import(kSamples / "mine");
  service.ImportFriend(kSamples / "friend");
  Client client(service);
  client.Open();
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Attribute("totalCount"), "7");
  const Response tree = client.GetHierarchy();
  EXPECT_EQ(Between(tree.body, "folderName=\"", "\""), std::vector<std::string>{"Journeys"});
  const auto albums = Between(tree.body, "albumName=\"", "\"");
  EXPECT_EQ(std::set(albums.begin(), albums.end()),
            (std::set<std::string>{"Garden", "Lisbon", "&#20140;&#37117;"}));
  const std::string root = Between(tree.body, "<rootAlbum>", "</rootAlbum>").at(0);
  EXPECT_EQ(Between(root, "fileName=\"", "\""), (std::vector<std::string>{"dawn.jpg", "dawn.wav"}));
  EXPECT_EQ(Between(root, "fileFormat=\"", "\""),
            (std::vector<std::string>{"image/jpeg", "audio/x-wav"}));
  EXPECT_EQ(Between(root, "shotDate=\"", "\""), std::vector<std::string>{"2025:12:31 07:58:12"});
  const std::string bytes = BytesOf(kSamples / "mine" / "dawn.jpg");
  ASSERT_FALSE(bytes.empty());
  EXPECT_TRUE(client.Send("GET", Between(root, "origUrl=\"", "\"").at(0)).body == bytes);
  EXPECT_TRUE(client.Send("GET", Between(root, "screenUrl=\"", "\"").at(0)).body == bytes);
  EXPECT_EQ(client.Send("GET", service.Url() + "/P2PwebCmdController/download/original/x").status,
            404);
  const Response foreign = client.Call("GetForeignAlbumItems", " needDate=\"true\"");
  EXPECT_EQ(foreign.Attribute("albumName"), "Anna&apos;s birthday");
  EXPECT_EQ(foreign.Attribute("itemsCount"), "2");
}

TEST(Catalogue, IsCompressedOnlyWhenAskedFor) {
  Service service;
  service.Import(kSamples / "mine");
  Client client(service);
  client.Open();
  const Response plain = client.GetHierarchy();
  EXPECT_EQ(plain.head.find("Content-Encoding"), std::string::npos);
  const std::string document = service.Log().back().body;
  const Response packed = client.Send("PUT", client.manageUrl + "?" + client.Query(document),
                                      &document, {"Accept-Encoding: gzip"});
  EXPECT_NE(packed.head.find("Content-Encoding: gzip"), std::string::npos) << packed.head;
  EXPECT_TRUE(packed.body.starts_with("\x1F\x8B"));
  EXPECT_LT(packed.body.size(), plain.body.size());
  const Response original = client.Send("GET", Between(plain.body, "origUrl=\"", "\"").at(0),
                                        nullptr, {"Accept-Encoding: gzip"});
  EXPECT_EQ(original.head.find("Content-Encoding"), std::string::npos);
}

TEST(Catalogue, KeepsEdits) {
  Service service;
  service.Import(kSamples / "mine");
  Client client(service);
  client.Open();
  const std::string item = client.GetHierarchy().Attribute("itemId");
  const auto modify = [&](const std::string& properties) {
    return client
        .SendDocument(Client::kDeclarations + "<ModifyProps itemIdList=\"" + item + "\">\r\n" +
                      properties + "</ModifyProps>")
        .Outcome();
  };
  EXPECT_EQ(modify("<property name=\"caption\" value=\"&#233;&lt;\" />\r\n"
                   "<property name=\"captionFlag\" value=\"true\" />\r\n"
                   "<property name=\"rating\" value=\"4\" />\r\n"),
            "ok");
  EXPECT_EQ(modify(""), "ok");
  EXPECT_EQ(modify("<property name=\"rating\" value=\"6\" />\r\n"), "311");
  EXPECT_EQ(modify("<property name=\"file\" value=\"/etc\" />\r\n"), "301");
  EXPECT_EQ(modify("<property name=\"&quot;\" value=\"\" />\r\n"), "301");
  EXPECT_EQ(client.Call("AddTags", " itemIdList=\"" + item + "\" tagList=\"sea,sun\"").Outcome(),
            "ok");
  const std::string folder = client.Call("AddFolder", " folderName=\"F\"").Attribute("folderId");
  const Response added = client.Call("AddAlbum", " folderId=\"" + folder + "\" albumName=\"A\"");
  const std::string album = added.Attribute("albumId");
  EXPECT_EQ(client.Call("AddItemsToAlbum", " albumId=\"" + album + "\" itemIdList=\"" + item + "\"")
                .Outcome(),
            "ok");
  const std::string listed =
      Between(client.GetHierarchy().body, "albumId=\"" + album, "</album>").at(0);
  EXPECT_EQ(Between(listed, "itemId=\"", "\""), std::vector<std::string>{item});
  const Response info = client.Call(
      "GetItemsInfo", " itemIdList=\"" + item + "\" sortBy=\"UploadDate\" sortOrder=\"desc\"");
  EXPECT_EQ(Between(info.body, "<property name=\"", "\" />"),
            (std::vector<std::string>{"caption\" value=\"&#233;&lt;", "captionFlag\" value=\"true",
                                      "rating\" value=\"4", "size\" value=\"5013",
                                      "tagList\" value=\"sea,sun"}));
}

}  // namespace
}  // namespace kelo::devservice
