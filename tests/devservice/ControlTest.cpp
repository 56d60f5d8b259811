// The calls under /control/: who may ask, what they answer, and the log that is shown.

#include "devservice/Client.h"
#include "devservice/control/RequestLog.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {
namespace {

using Json = nlohmann::json;

struct ControlTest : ServiceTest {
  using ServiceTest::ServiceTest;

  Response Control(const std::string& method, const std::string& path, const std::string& body = {},
                   std::vector<std::string> headers = {}) {
    headers.push_back(authorization);
    return client.Send(method, service.Url() + path, method == "GET" ? nullptr : &body, headers);
  }
  Json Get(const std::string& path) {
    const Response response = Control("GET", path);
    EXPECT_EQ(response.status, 200) << path << response.body;
    return Json::parse(response.body);
  }

  const std::string token = PageToken(service);
  const std::string authorization = "Authorization: Bearer " + token;
  const std::string port = ":" + std::to_string(PortOf(service.Url()));
};

TEST_F(ControlTest, AnswersToLoopbackNamesAndTheTokenOnly) {
  const std::string host = "Host: 127.0.0.1" + port;
  const std::string elsewhere = "Sec-Fetch-Site: cross-site";
  const std::string navigates = "Sec-Fetch-Mode: navigate";
  const std::string account = "/control/account";
  const std::string page = "/?token=" + token;
  const std::tuple<std::string, std::vector<std::string>, int> cases[] = {
      {account, {authorization}, 200},
      {account, {authorization, "Host: LocalHost" + port}, 403},
      {account, {authorization, "Host: localhost" + port}, 200},
      {account, {authorization, "Host: [::1]" + port}, 200},
      {account, {authorization, "Host: 127.0.0.1"}, 403},
      {account, {authorization, "Host: 127.0.0.1:1"}, 403},
      {account, {authorization, "Host: 127.0.0.1.evil.example" + port}, 403},
      {account, {authorization, "Origin: http://127.0.0.1" + port}, 200},
      {account, {authorization, "Origin: http://localhost" + port}, 403},
      {account, {authorization, "Origin: http://127.0.0.1:1"}, 403},
      {account, {authorization, "Sec-Fetch-Site: same-origin"}, 200},
      {account, {authorization, "Sec-Fetch-Site: same-site"}, 403},
      {account, {authorization, elsewhere, navigates}, 403},
      {account, {}, 403},
      {account, {"Authorization: Bearer "}, 403},
      {account, {"Authorization: Bearer " + token + "0"}, 403},
      {account, {"Authorization: " + token}, 403},
      {account, {"Authorization: bearer wrong", authorization}, 403},
      {account + "?token=" + token, {}, 403},
      {page, {}, 200},
      {page, {elsewhere, navigates}, 200},
      {page, {elsewhere, "Sec-Fetch-Mode: no-cors"}, 403},
      {page, {"Host: evil.example" + port}, 403},
      {page + "&more", {}, 403},
      {"/?token=", {}, 403},
      {"/", {authorization}, 403},
  };
  for (const auto& [path, headers, status] : cases) {
    const Response response = client.Send("GET", service.Url() + path, nullptr, headers);
    EXPECT_EQ(response.status, status) << path << " " << testing::PrintToString(headers);
    if (status == 403) EXPECT_EQ(response.body.find("me@home"), std::string::npos);
    for (const char* guard : {"Content-Security-Policy: default-src 'none'", "no-store", "nosniff"})
      EXPECT_NE(response.head.find(guard), std::string::npos) << path << response.head;
  }
  const Peer twice(service);
  twice.Send("GET /control/account HTTP/1.1\r\n" + host + "\r\n" + host + "\r\n" + authorization +
             "\r\n\r\n");
  EXPECT_TRUE(twice.Receive().starts_with("HTTP/1.1 403")) << "two hosts";
}

TEST_F(ControlTest, EachPathTakesItsOwnMethodsAndNobodyElsesRequests) {
  const std::tuple<const char*, const char*, std::string, int> cases[] = {
      {"POST", "/outbox", "", 405},
      {"GET", "/control/reset", "", 405},
      {"PUT", "/control/faults", "{}", 405},
      {"POST", "/control/faults", "{}", 200},
      {"DELETE", "/control/faults", "", 200},
      {"DELETE", "/control/faults/7", "", 404},
      {"DELETE", "/control/faults/x", "", 404},
      {"GET", "/control/", "", 404},
      {"GET", "/control/screen/nothing", "", 404},
      {"GET", "/control/log?after=x", "", 400},
      {"GET", "/control/log?before=1", "", 400},
      {"GET", "/control/log/0", "", 404},
      {"POST", "/control/reset", std::string(70'000, 'x'), 413},
  };
  for (const auto& [method, path, body, status] : cases) {
    const std::vector<std::string> strangers[] = {
        {}, {authorization + "0"}, {authorization, "Host: evil.example" + port}};
    for (const auto& headers : strangers)
      EXPECT_EQ(client.Send(method, service.Url() + path, &body, headers).status, 403)
          << method << " " << path << " " << testing::PrintToString(headers);
    EXPECT_EQ(Control(method, path, body).status, status) << method << " " << path;
  }
  EXPECT_EQ(Get("/control/log?after=18446744073709551615")["requests"].size(), 0u);
  const Peer cut(service);
  cut.Send("POST /control/faults HTTP/1.1\r\nHost: localhost" + port + "\r\n" + authorization +
           "\r\nContent-Length: 100\r\n\r\n{\"add\": \"*:garbage\"}");
  cut.Finish();
  EXPECT_FALSE(cut.Receive().starts_with("HTTP/1.1 200"));
  EXPECT_EQ(Get("/control/faults")["faults"].size(), 0u) << "half a body changes nothing";
  const Peer bare(service);  // a body that nobody announces is none
  bare.Send("POST /control/reset HTTP/1.1\r\nHost: localhost" + port + "\r\n" + authorization +
            "\r\n\r\n");
  EXPECT_TRUE(bare.Receive("}").starts_with("HTTP/1.1 200"));
}

TEST_F(ControlTest, TellsRequestsWithWhatTheServiceMadeOfThemAndNotItsOwn) {
  client.Call("GetStorageCapacity");
  client.secret = "wrong";
  client.Call("GetAddressList");
  service.AddFault("*:error=207");
  client.Call("GetAddressList");
  const Json log = Get("/control/log?after=1");
  ASSERT_EQ(log["requests"].size(), 3u) << log;
  EXPECT_EQ(log["last"], 4);
  EXPECT_EQ(log["requests"][1]["errorCode"], 103);
  EXPECT_EQ(log["requests"][1]["errorText"], "Wrong signature");
  EXPECT_EQ(log["requests"][2]["errorText"], "A fault that was asked for");
  const Json whole = Get("/control/log/2");
  EXPECT_EQ(whole["method"], "GetStorageCapacity");
  EXPECT_EQ(whole["signature"], "ok");
  EXPECT_EQ(whole["document"], Client::kDeclarations + "<GetStorageCapacity />\r\n");
  EXPECT_NE(whole["answer"].get<std::string>().find("dataCapacity"), std::string::npos);
  EXPECT_EQ(Get("/control/log?after=4")["requests"].size(), 0u) << "its own requests are none";
  EXPECT_EQ(service.RequestCount(), 4u);
}

// Also what is no HTTP, and what no part of the service ever answers.
TEST_F(ControlTest, TellsEveryRequestWithTheAnswerThatItGot) {
  const std::string put = "PUT /x HTTP/1.1\r\n";
  const std::string upload = "/P2PwebCmdController/api-upload";
  const std::string original = "/P2PwebCmdController/download/original/";
  const std::tuple<std::string, std::string, std::string, int> cases[] = {
      {"PATCH /x HTTP/1.1\r\nContent-Length: 2\r\n\r\nab", "PATCH", "/x", 404},
      {"POST /P2PwebCmdController/api-manage HTTP/1.1\r\n\r\n", "POST",
       "/P2PwebCmdController/api-manage", 404},
      {"FETCH /x HTTP/1.1\r\n\r\n", "FETCH", "/x", 404},
      {"GET /x y HTTP/1.1\r\n\r\n", "?", "GET /x y HTTP/1.1", 400},
      {"GET /x HTTP/1.1\nHost: x\n\n", "?", "GET /x HTTP/1.1", 400},
      {"G", "?", "G", 400},
      {std::string(9000, 'o'), "?", std::string(200, 'o'), 400},
      {put + "Content-Length: 9\r\n\r\nabc", "PUT", "/x", 400},
      {put + "Content-Length: -1\r\n\r\nabc", "?", "PUT /x HTTP/1.1", 400},
      {put + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "PUT", "/x", 400},
      {"GET /x HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc", "GET", "/x", 404},
      {std::string("\0\xFF\r\n\r\n", 6), "?", std::string("\0\uFFFD", 4), 400},
      {"POST " + upload + " HTTP/1.1\r\nContent-Length: 9\r\n\r\n--BOUNDAR", "POST", upload, 200},
      {"GET " + original + " HTTP/1.1\r\n\r\n", "GET", original, 404},
  };
  int number = Get("/control/log")["last"];  // of the session's opening, on the same connection
  EXPECT_EQ(number, 1);
  for (const auto& [request, verb, path, status] : cases) {
    const Peer peer(service);
    peer.Send(request);
    peer.Finish();
    const std::string answer = peer.Receive();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 " + std::to_string(status))) << request << answer;
    const Json told = Get("/control/log/" + std::to_string(++number));
    EXPECT_EQ(told["verb"], verb) << request;
    EXPECT_EQ(told["path"], path) << request;
    EXPECT_EQ(told["status"], status) << request;
    EXPECT_NE(told["answer"], "") << request;
    EXPECT_EQ(Get("/control/log")["last"], number) << request << ": told twice";
  }
  // Whatever is sent while a fault is on, the service answers the next client.
  for (const char* fault : {"*:status=500", "*:cut=3", "*:garbage", "*:reset", "*:length=9",
                            "*:slow=100000", "*:expire", "*:silence", "*:full"}) {
    service.AddFault(fault);
    for (const auto& [request, verb, path, status] : cases) Peer(service).Send(request);
    service.ClearFaults();
    client.Open();
    EXPECT_EQ(client.GetHierarchy().Outcome(), "ok") << fault;
  }
}

TEST(RequestRecord, HasNoSecretWhereverItStood) {
  const std::string key = "2ABCDEFGHJKLMNPQRSTUVWXYZ3456789";
  const std::string session = "TABCDEFGHJKLMNPQRSTUVWXYZ23";
  const std::string signature = "0123456789abcdef0123456789abcdef01234567";
  const std::string page = signature.substr(0, 32);
  const std::pair<std::string, std::string> cases[] = {
      {"keloApiKey=short&callId=1", "keloApiKey=***&callId=1"},
      {"callId=1&keloSessToken=", "callId=1&keloSessToken=***"},
      {"<response keloSessToken=\"short\" stat=\"ok\"",
       "<response keloSessToken=\"***\" stat=\"ok\""},
      {"OpenSession;keloAuthToken=" + key, "OpenSession;keloAuthToken=***"},
      {"apiKey=" + key + "&x=" + key, "apiKey=***&x=***"},
      {"keloapikey%3D" + key + "%26", "keloapikey%***%26"},
      {"/" + session + "/" + signature, "/***/***"},
      {"{\"session\": \"" + session + "\"}", "{\"session\": \"***\"}"},
      {session, "***"},
      {"Bearer" + key, "Bearer***"},
      {"/2abcdefghjklmnpqrstuvwxyz3456789/tabcdefghjklmnpqrstuvwxyz23/"
       "0123456789ABCDEF0123456789ABCDEF01234567",
       "/***/***/***"},
      {"md5=\"" + std::string(32, 'a') + "\"", ""},
      {"/?token=" + page, "/?token=***"},
      {"I" + session.substr(1) + ",A" + session.substr(1), ""},  // ids of entries
      {"md5=\"" + page + "\"", ""},
  };
  for (const auto& [text, masked] : cases) {
    RequestRecord record;
    std::string* const texts[] = {&record.path,      &record.query,    &record.method,
                                  &record.errorText, &record.document, &record.answer};
    for (std::string* each : texts) *each = text;
    MaskSecrets(record);
    for (const std::string* each : texts) EXPECT_EQ(*each, masked.empty() ? text : masked);
  }
}

TEST_F(ControlTest, ShowsTheAccountAndEmptiesIt) {
  const TemporaryFolder folder;
  std::filesystem::create_directories(folder.Path("Trips/Porto"));
  std::ofstream(folder.Path("Trips/Porto/odd\xFFname.jpg")) << "bytes";
  service.Import(folder.Path(""));
  service.ImportFriend(folder.Path("Trips"));
  const std::uint64_t before = Get("/control/log")["revision"];
  Json account = Get("/control/account");
  const std::string item = account["items"][0]["id"];
  EXPECT_EQ(account["items"][0]["name"], "odd\uFFFDname.jpg");
  EXPECT_EQ(account["folders"][0]["name"], "Trips");
  EXPECT_EQ(account["albums"][0]["root"], true);
  ASSERT_EQ(account["accounts"].size(), 2u);
  const Json other = account["accounts"][1];
  EXPECT_EQ(other["address"], "friend@home.example");
  EXPECT_EQ(Get("/control/account?id=" + account["id"].dump()), account);
  const Json others = Get("/control/account?id=" + other["id"].dump());
  Client sharer(service, service.AddAccount("friend@home.example"));
  sharer.Open();
  sharer.Call("ShareAlbum", " albumId=" + others["albums"][1]["id"].dump() +
                                " recipientList=\"mailto:a@b.example\" subjectText=\"\""
                                " bodyText=\"\" removeGPSInfo=\"true\"");
  EXPECT_EQ(Get("/control/account?id=" + other["id"].dump())["mails"].size(), 1u);
  EXPECT_TRUE(Control("GET", "/outbox").body.starts_with("To: a@b.example\n"));
  EXPECT_EQ(Get("/control/account")["mails"].size(), 0u) << "of an album that is not shown";
  EXPECT_EQ(Control("GET", "/control/account?id=99").status, 404);
  EXPECT_EQ(Control("GET", "/control/account?ID=1").status, 400);

  client.Call("AddTags", " itemIdList=\"" + item + "\" tagList=\"a,b\"");
  EXPECT_GT(Get("/control/log")["revision"], before);
  account = Get("/control/account");
  EXPECT_EQ(account["items"][0]["tags"], Json::array({"a", "b"}));
  const Json contacts = account["contacts"];

  EXPECT_EQ(Control("POST", "/control/reset").status, 200);
  EXPECT_GT(Get("/control/log")["revision"], account["revision"]);
  account = Get("/control/account");
  for (const char* part : {"folders", "friendAlbums", "items", "mails"})
    EXPECT_EQ(account[part].size(), 0u) << part;
  EXPECT_EQ(account["albums"].size(), 1u) << "the root album stays";
  EXPECT_EQ(account["storage"]["used"], 0);
  EXPECT_EQ(account["contacts"], contacts);
  EXPECT_TRUE(std::filesystem::exists(folder.Path("Trips/Porto/odd\xFFname.jpg")))
      << "what was imported is its owner's";
  EXPECT_EQ(client.Call("GetUserArchiveInfo").Attribute("totalCount"), "0") << "with its session";
}

TEST(RequestLog, ForgetsTextsBeforeRequestsAndOldOnesFirst) {
  RequestLog log(4, 100);
  nlohmann::ordered_json json;
  const auto numbers = [&](std::uint64_t after, size_t limit) {
    log.Describe(json, after, limit);
    std::string text;
    for (const auto& row : json["requests"]) text += std::to_string(row["number"].get<int>());
    return text;
  };
  const auto add = [&log](size_t size) {
    RequestRecord record;
    record.document = std::string(size, 'd');
    log.Add(record);
  };
  EXPECT_EQ(numbers(0, 9), "");
  EXPECT_EQ(json["first"], 1);
  EXPECT_EQ(json["last"], 0);
  for (int i = 1; i <= 6; ++i) add(31);
  EXPECT_EQ(numbers(0, 9), "3456");
  EXPECT_EQ(numbers(0, 2), "34");
  EXPECT_EQ(numbers(4, 9), "56");
  EXPECT_EQ(numbers(7, 9), "");
  EXPECT_TRUE(log.Whole(2).is_null());
  EXPECT_FALSE(log.Whole(3).contains("document"));
  EXPECT_EQ(log.Whole(4)["document"], std::string(31, 'd'));
  add(101);
  EXPECT_FALSE(log.Whole(7).contains("document")) << "more than all that is kept";
  add(1);
  EXPECT_EQ(log.Whole(8)["document"], "d");
}

}  // namespace
}  // namespace kelo::devservice
