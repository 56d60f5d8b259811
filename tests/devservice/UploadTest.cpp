// What the service makes of upload checks and of multipart uploads, right and wrong ones; and one
// that is killed in the middle of them.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <random>
#include <thread>

#include "database/Database.h"
#include "devservice/Client.h"
#include "devservice/ServiceProgram.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t found = text.rfind(from);
  EXPECT_NE(found, std::string::npos) << from;
  return text.replace(found, from.size(), to);
}

struct LimitedTest : ServiceTest {
  LimitedTest() : ServiceTest({.quotaBytes = 1000, .maxRequestBytes = 100'000}) {}
};

TEST_F(LimitedTest, RefusesEveryDeviationAndStoresNothing) {
  const std::vector<File> files{{"a.jpg", "abc"}, {"b.jpg", "defg"}};
  const Upload good = MakeUpload(files);
  struct Case {
    const char* what;
    Upload upload;
    std::string outcome;
    std::string words{};  // of what is wrong
  };
  const auto spoiled = [&](const std::string& from, const std::string& to) {
    return Upload{good.document, Replaced(good.body, from, to)};
  };
  const Case cases[] = {
      {"one byte too many", spoiled("defg", "defgh"), "402",
       "behind the 4 bytes of file 2: byte 1 of"},
      {"one byte too few", spoiled("defg", "def"), "402",
       "behind the 4 bytes of file 2: byte 1 of"},
      {"another boundary", spoiled("\r\n--BOUNDARY\r\n", "\r\n--Boundary\r\n"), "402",
       "behind the 3 bytes of file 1: byte 6 of"},
      {"another part name", spoiled("name=\"b.jpg\"", "name=\"c.jpg\""), "402"},
      {"cut closing boundary", spoiled("--BOUNDARY--\r\n", "--BOUNDARY--"), "402",
       "the body ends before"},
      {"bytes at the end", spoiled("--BOUNDARY--\r\n", "--BOUNDARY--\r\n\r\n"), "402",
       "bytes behind the closing boundary"},
      {"another document header", spoiled("Transfer-Encoding: 8bit", "Transfer-Encoding: 7bit"),
       "402"},
      {"a file cut short",
       {good.document, good.body.substr(0, good.body.find("defg") + 1)},
       "402",
       "the body ends 3 bytes before the end of file 2"},
      {"unsigned document", spoiled("fileName=\"a.jpg\"", "fileName=\"b.jpg\""), "103"},
      {"no document",
       {good.document, "--BOUNDARY--\r\n"},
       "402",
       "at the beginning of the body: byte 11 of"},
      {"nothing", {good.document, ""}, "402", "the body ends before"},
      {"unknown album", MakeUpload({{"a.jpg", "abc", " albumId=\"nowhere\""}}), "207"},
      {"unknown upload id", MakeUpload(files, "<UploadItems uploadId=\"x\">"), "301"},
      {"over quota",
       MakeUpload({{"a.jpg", std::string(600, 'x')}, {"b.jpg", std::string(401, 'x')}}), "203"},
  };
  for (const Case& c : cases) {
    const Response response = Post(client, c.upload);
    EXPECT_EQ(response.Outcome(), c.outcome) << c.what << "\n" << response.body;
    EXPECT_NE(response.Attribute("errmsg").find(c.words), std::string::npos) << response.body;
  }
  const Response other = Post(client, good, "multipart/form-data; boundary=Other");
  EXPECT_EQ(other.Outcome(), "402");
  EXPECT_NE(other.body.find("is not multipart/form-data; boundary=BOUNDARY"), std::string::npos);
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Attribute("totalCount"), "0");
  EXPECT_EQ(Post(client, good).Outcome(), "ok") << "nothing of the above is left behind";
}

TEST_F(ServiceTest, FindsEveryStatusOfACheck) {
  const std::string album =
      client.Call("AddAlbum", " folderId=\"\" albumName=\"New\"").Attribute("albumId");
  const std::string dates =
      " fileCreateDate=\"2026:01:01 10:00:00\" fileModifyDate=\"2026:01:02 11:00:00\"";
  const std::string asked = " albumId=\"" + album + "\"";
  ASSERT_EQ(Post(client, MakeUpload({{"root.jpg", "abc", dates},
                                     {"empty.jpg", "", dates},
                                     {"album.jpg", "abcd", dates + asked + " tagList=\"sea\""},
                                     {"virus.EXE", "abc"}}))
                .Outcome(),
            "ok");
  struct Case {
    std::string item;
    std::string status;
  };
  const Case cases[] = {
      {"fileName=\"root.jpg\" fileSize=\"3\"" + dates + asked, "1"},
      {"fileName=\"root.jpg\" fileSize=\"3\"" + dates, "1"},
      {"fileName=\"root.jpg\" fileSize=\"3\" fileModifyDate=\"2026-01-02 11:00:00\"", "1"},
      {"fileName=\"root.jpg\" fileSize=\"3\" fileModifyDate=\"2026-01-02 11:00:01\"", "4"},
      {"fileName=\"root.jpg\" fileSize=\"4\"" + dates, "0"},
      {"fileName=\"album.jpg\" fileSize=\"4\"" + dates + asked, "2"},
      {"fileName=\"album.jpg\" fileSize=\"4\"" + dates, "1"},
      {"fileName=\"virus.EXE\" fileSize=\"3\"" + dates, "3"},
      {"fileName=\"empty.jpg\" fileSize=\"0\"" + dates, "1"},
      {"fileName=\"other.jpg\" fileSize=\"3\"" + dates, "0"},
  };
  std::string document = Client::kDeclarations + "<CheckUploadItems>\r\n<items>\r\n";
  std::vector<std::string> expected;
  for (const Case& c : cases) {
    document += "<item idx=\"" + std::to_string(expected.size() + 1) + "\" " + c.item + " />\r\n";
    expected.push_back(c.status);
  }
  const Response response =
      client.SendDocument(document + "</items>\r\n</CheckUploadItems>\r\n", true);
  EXPECT_EQ(Between(response.body, "status=\"", "\""), expected) << response.body;
  const auto ids = Between(response.body, "itemId=\"", "\"");
  ASSERT_EQ(ids.size(), 6u) << response.body;
  EXPECT_NE(client.ItemInfo(ids[3]).body.find("\"tagList\" value=\"sea\""), std::string::npos);
}

TEST_F(ServiceTest, NegotiatesByDigest) {
  ASSERT_EQ(Post(client, MakeUpload({{"a.jpg", "abc"}})).Outcome(), "ok");
  const auto item = [](int idx, const std::string& md5) {
    return "<item idx=\"" + std::to_string(idx) +
           "\" fileName=\"n.jpg\" fileSize=\"3\" fileDate=\"\" resolution=\"4x3\" md5=\"" + md5 +
           "\" />\r\n";
  };
  const Response response = client.SendDocument(
      Client::kDeclarations + "<NegotiateUploadItems>\r\n<items>\r\n" +
          item(1, "900150983cd24fb0d6963f7d28e17f72") +
          item(2, "900150983cd24fb0d6963f7d28e17f73") + "</items>\r\n</NegotiateUploadItems>\r\n",
      true);
  EXPECT_EQ(Between(response.body, "uploadComplete=\"", "\""),
            (std::vector<std::string>{"true", "false"}));
  const std::string opening = "<UploadItems uploadId=\"" + response.Attribute("uploadId") + "\">";
  EXPECT_EQ(Post(client, MakeUpload({{"n.jpg", "xyz"}}, opening)).Outcome(), "ok");
}

TEST_F(LimitedTest, AnswersTooLongRequestsBeforeTheirEnd) {
  EXPECT_EQ(Post(client, MakeUpload({{"a.jpg", std::string(100'000, 'x')}})).status, 413);
  EXPECT_EQ(service.Arrived().back().bodySize, 0u);
  EXPECT_FALSE(service.Arrived().back().complete);
  EXPECT_EQ(Post(client, MakeUpload({{"a.jpg", std::string(999, 'x')}})).Outcome(), "ok");
}

// Used again, moved, and moved by somebody whose service kept the paths of files.
TEST(DataDirectory, KeepsAccountsAndFiles) {
  const TemporaryFolder folder;
  std::string token;
  for (int round = 0; round < 4; ++round) {
    const std::string data = folder.Path("data" + std::to_string(round < 2 ? 0 : round));
    if (round >= 2) fs::rename(folder.Path(round == 2 ? "data0" : "data2"), data);
    if (round == 3) {
      Database(data + "/service.sqlite")
          .Execute("UPDATE items SET file = ? || id", folder.Path("data2/files/"));
    }
    Service service({.dataDirectory = data});
    EXPECT_TRUE(token.empty() || token == service.AuthToken());
    token = service.AuthToken();
    service.Import(KELO_SAMPLES_DIRECTORY "/mine");  // the second time changes nothing
    Client client(service);
    client.Open();
    if (round == 0)
      ASSERT_EQ(Post(client, MakeUpload({{"kept.mov", "kept bytes"}})).Outcome(), "ok");
    const Response tree = client.GetHierarchy();
    EXPECT_EQ(Between(tree.body, "<item ", "/>").size(), 8u) << tree.body;
    const std::string kept = Between(tree.body, "fileName=\"kept.mov\"", "/>").at(0);
    EXPECT_EQ(client.Send("GET", Between(kept, "origUrl=\"", "\"").at(0)).body, "kept bytes");
  }
}

TEST(DataDirectory, KeepsNoFileOfAnUploadWhoseAlbumWentMeanwhile) {
  const TemporaryFolder folder;
  Service service({.dataDirectory = folder.Path("")});
  Client client(service);
  client.Open();
  const std::string album =
      client.Call("AddAlbum", " folderId=\"\" albumName=\"New\"").Attribute("albumId");
  const Upload upload =
      MakeUpload({{"a.jpg", std::string(100, 'x'), " albumId=\"" + album + "\""}});
  const auto hasFiles = [&] { return !fs::is_empty(folder.Path("files")); };
  const Peer peer(service);
  const std::string request = PostText(client, upload);
  peer.Send(request.substr(0, request.size() - 50));
  while (!hasFiles()) std::this_thread::yield();
  const std::string none;
  const std::vector<std::string> authorization{"Authorization: Bearer " + PageToken(service)};
  EXPECT_EQ(client.Send("POST", service.Url() + "/control/reset", &none, authorization).status,
            200);
  peer.Send(request.substr(request.size() - 50));
  EXPECT_NE(peer.Receive("/>").find("errcode=\"207\""), std::string::npos);
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Attribute("totalCount"), "0");
  while (hasFiles()) std::this_thread::yield();
}

constexpr int kFiles = 8;
constexpr size_t kFileSize = 200'000;

std::vector<std::string> FileNames(Client& client) {
  return Between(client.GetHierarchy().body, "fileName=\"", "\"");
}

// Uploads those that are not stored, one request for each two files.
void UploadMissing(Client& client, const std::vector<std::string>& stored) {
  std::vector<File> files;
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = std::to_string(i) + ".jpg";
    if (std::ranges::find(stored, name) != stored.end()) continue;
    files.push_back({name, std::string(kFileSize, static_cast<char>('a' + i))});
    if (files.size() < 2) continue;
    Post(client, MakeUpload(files));
    files.clear();
  }
  if (!files.empty()) Post(client, MakeUpload(files));
}

// Nothing but whole files that are listed, and their number.
size_t CheckFolder(const TemporaryFolder& folder) {
  size_t count = 0;
  for (const auto& entry : fs::directory_iterator(folder.Path("data/files"))) {
    EXPECT_EQ(entry.file_size(), kFileSize);
    ++count;
  }
  return count;
}

// KELO_KILLS says how many times, 10 if it says nothing; KELO_KILLS_SEED repeats the moments of a
// run.
TEST(Kill, InTheMiddleOfAnUploadLosesAndDoublesNothing) {
  const char* asked = std::getenv("KELO_KILLS");
  const int rounds = asked ? std::atoi(asked) : 10;
  const char* given = std::getenv("KELO_KILLS_SEED");
  const auto seed = given ? static_cast<unsigned>(std::stoul(given)) : std::random_device{}();
  std::mt19937 random(seed);
  int before = 0;
  int inTheMiddle = 0;
  for (int round = 0; round < rounds; ++round) {
    const TemporaryFolder folder;
    const std::vector<std::string> options{"--data", folder.Path("data"), "--control-file",
                                           folder.Path("url")};
    {
      ServiceProcess victim(options);
      ASSERT_TRUE(victim.IsServing());
      Client client(victim.url, victim.key, victim.account);
      client.Open();
      std::thread uploading([&] { UploadMissing(client, {}); });
      // The moment itself is what is tried here; nothing depends on how long it is.
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
      victim.End(SIGKILL);
      uploading.join();
    }
    ServiceProcess again(options);
    ASSERT_TRUE(again.IsServing());
    Client client(again.url, again.key, again.account);
    client.Open();
    const auto stored = FileNames(client);
    EXPECT_EQ(CheckFolder(folder), stored.size());
    EXPECT_EQ(stored.size() % 2, 0u) << "half of an upload is stored";
    before += stored.empty();
    inTheMiddle += !stored.empty() && stored.size() < kFiles;
    UploadMissing(client, stored);
    auto all = FileNames(client);
    std::ranges::sort(all);
    EXPECT_EQ(all.size(), static_cast<size_t>(kFiles));
    EXPECT_EQ(std::ranges::unique(all).begin(), all.end()) << "a file is stored twice";
    EXPECT_EQ(CheckFolder(folder), static_cast<size_t>(kFiles));
    if (HasFailure()) break;
  }
  std::printf(
      "KELO_KILLS_SEED=%u: of %d kills %d struck in the middle, %d before the first upload\n", seed,
      rounds, inTheMiddle, before);
}

}  // namespace
}  // namespace kelo::devservice
