// The service's faults: what they may be, that each spoils what it says, and that slow and silent
// answers end when the service does.
#include <gmock/gmock.h>

#include <map>
#include <nlohmann/json.hpp>
#include <thread>

#include "devservice/Client.h"
#include "devservice/faults/Faults.h"
#include "devservice/http/Pace.h"

namespace kelo::devservice {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

TEST(FaultText, IsRefusedWithAWordAboutWhy) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "METHOD:KIND"},
      {":status=503", "METHOD:KIND"},
      {"*:Status=503", "there is no fault \"Status\", only status"},
      {"* :status=503", "there is no method \"* \""},
      {"GetNothing:garbage", "there is no method"},
      {"*:status", "status needs a value"},
      {"*:status=199", "status is between 200 and 599"},
      {"*:status=600", "status is between"},
      {"*:cut=-1", "cut is between"},
      {"*:cut=99999999999999999999", "cut is no number"},
      {"*:slow=0", "slow is between"},
      {"*:silence=1", "silence takes no value"},
      {"*:garbage,", "only times=N"},
      {"*:garbage,times=0", "at least 1"},
      {"*:garbage,times=2,times=3", "times is no number"},
      {"GetHierarchy:full", "full concerns UploadItems only"},
  };
  for (const auto& [text, word] : cases)
    EXPECT_THAT([&] { ReadFault(text); },
                testing::ThrowsMessage<FaultError>(testing::HasSubstr(word)))
        << text;
}

TEST(FaultCalls, ChangeAllOrNothing) {
  Faults faults;
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  const std::tuple<std::string, int, std::string> cases[] = {
      {"{}", 200, ""},
      {R"({"add": "*:garbage"})", 200, "1 *:garbage"},
      {R"({"add": ["*:cut", "*:length=-7,times=3"]})", 200,
       "1 *:garbage 2 *:cut=0 3 *:length=-7,times=3"},
      {R"({"remove": [1, 4]})", 404, "1 *:garbage 2 *:cut=0 3 *:length=-7,times=3"},
      {R"({"remove": 1, "add": "*:bad"})", 400, "1 *:garbage 2 *:cut=0 3 *:length=-7,times=3"},
      {R"({"add": ["*:garbage", 5]})", 400, "1 *:garbage 2 *:cut=0 3 *:length=-7,times=3"},
      {R"({"remove": -1})", 400, "1 *:garbage 2 *:cut=0 3 *:length=-7,times=3"},
      {R"({"drop": 1})", 400, "1 *:garbage 2 *:cut=0 3 *:length=-7,times=3"},
      {R"({"remove": [1, 3], "add": "*:full"})", 200, "2 *:cut=0 4 *:full"},
      {R"({"add": "*:\u0000"})", 400, "2 *:cut=0 4 *:full"},
      {"{\"add\": \"\xFF\"}", 400, "2 *:cut=0 4 *:full"},
      {"[]", 400, "2 *:cut=0 4 *:full"},
      {"{\"add\": " + deep + "}", 400, "2 *:cut=0 4 *:full"},
      {"{\"remove\": " + deep + "}", 400, "2 *:cut=0 4 *:full"},
      {R"({"remove": "all"})", 200, ""},
  };
  for (const auto& [body, status, left] : cases) {
    int answered = 200;
    try {
      ChangeFaults(faults, nlohmann::ordered_json::parse(body, nullptr, false));
    } catch (const FaultError& error) {
      answered = error.Status();
    }
    EXPECT_EQ(answered, status) << body.substr(0, 50);
    std::string known;
    for (const Fault& fault : faults.List())
      known += (known.empty() ? "" : " ") + std::to_string(fault.id) + " " + FaultText(fault);
    EXPECT_EQ(known, left) << body.substr(0, 50);
  }
}

// What a client sees of each kind, and whether the service did what it was asked: all or nothing.
TEST_F(ServiceTest, EveryFaultSpoilsWhatItSays) {
  struct Case {
    std::string method;
    std::string fault;
    CURLcode code;
    long status;
    std::string outcome;  // of the answer's document
    bool done;
    bool concerned = true;
  };
  const std::string folder = "AddFolder";
  const std::string upload = "UploadItems";
  const Case cases[] = {
      {folder, "AddFolder:status=503", CURLE_OK, 503, "", false},
      {folder, "AddFolder:error=207", CURLE_OK, 200, "207", false},
      {folder, "AddFolder:garbage", CURLE_OK, 200, "", false},
      {folder, "AddFolder:reset", CURLE_RECV_ERROR, 0, "", false},
      {folder, "AddFolder:expire", CURLE_OK, 200, "108", false},
      {folder, "AddFolder:delay=1", CURLE_OK, 200, "ok", true},
      {folder, "AddFolder:cut", CURLE_PARTIAL_FILE, 200, "", true},
      {folder, "AddFolder:length", CURLE_PARTIAL_FILE, 200, "ok", true},
      {folder, "AddFolder:length=-1", CURLE_OK, 200, "ok", true},
      {folder, "AddFolder:slow=10000", CURLE_OK, 200, "ok", true},
      {folder, "*:full", CURLE_OK, 200, "ok", true, false},
      {folder, "UploadItems:garbage", CURLE_OK, 200, "ok", true, false},
      {upload, "UploadItems:full", CURLE_OK, 200, "203", false},
      {upload, "*:full", CURLE_OK, 200, "203", false},
      {upload, "UploadItems:garbage", CURLE_OK, 200, "", false},
      {upload, "UploadItems:expire", CURLE_OK, 200, "108", false},
      {upload, "UploadItems:slow=500000", CURLE_OK, 200, "ok", true},
      {upload, "UploadItems:cut", CURLE_PARTIAL_FILE, 200, "", true},
  };
  std::map<std::string, size_t> done;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.method + " " + c.fault);
    const std::uint64_t id = service.AddFault(c.fault);
    const File file{std::to_string(id) + ".jpg", std::string(20'000, 'x')};
    const Response response = c.method == upload ? Post(client, MakeUpload({file}))
                                                 : client.Call(folder, " folderName=\"x\"");
    EXPECT_EQ(response.code, c.code);
    EXPECT_EQ(response.status, c.status);
    EXPECT_EQ(response.Outcome(), c.outcome) << response.body;
    EXPECT_EQ(service.FaultFired(id) > 0, c.concerned);
    service.ClearFaults();
    client.Open();
    done[c.method] += c.done ? 1 : 0;
    const std::string account = client.GetHierarchy().body;
    EXPECT_EQ(Between(account, "<folder ", ">").size(), done[folder]);
    EXPECT_EQ(Between(account, "<item ", "/>").size(), done[upload]);
  }
}

TEST_F(ServiceTest, AFaultStrikesDownloadsAsOftenAsItSays) {
  service.Import(KELO_SAMPLES_DIRECTORY "/mine");
  const std::string url = Between(client.GetHierarchy().body, "origUrl=\"", "\"").at(0);
  const size_t size = client.Send("GET", url).body.size();
  ASSERT_GT(size, 1000u);
  const std::tuple<std::string, CURLcode, size_t> cases[] = {
      {"Download:cut=1000", CURLE_PARTIAL_FILE, 1000},
      {"Download:length=5", CURLE_PARTIAL_FILE, size},
      {"Download:length=-5", CURLE_OK, size - 5},
      {"Download:slow=1000000", CURLE_OK, size},
      {"Download:reset", CURLE_RECV_ERROR, 0},
      {"Download:delay=60", CURLE_OK, size},
  };
  for (const auto& [fault, code, received] : cases) {
    const std::uint64_t id = service.AddFault(fault + ",times=2");
    for (int round = 0; round < 2; ++round) {
      const auto start = Clock::now();
      const Response response = Client(service).Send("GET", url);
      EXPECT_EQ(response.code, code) << fault;
      EXPECT_EQ(response.body.size(), received) << fault;
      EXPECT_GE(Clock::now() - start, milliseconds(fault == "Download:delay=60" ? 60 : 0));
    }
    EXPECT_EQ(Client(service).Send("GET", url).body.size(), size) << fault << ": spent";
    EXPECT_EQ(service.FaultFired(id), 2u) << fault;
  }
}

// The schedule alone, with transfers that take a while themselves: no sooner, and hardly later.
TEST(Pace, KeepsItsRate) {
  for (const double rate : {1e3, 1e4, 1e5, 1e6, 2e6, 3e6, 4.1e6, 1e7, 1e8}) {
    const Clock::time_point start{};
    const std::uint64_t size = static_cast<std::uint64_t>(rate) * 3;
    Pace pace(static_cast<std::uint64_t>(rate), start);
    Clock::time_point now = start;
    for (std::uint64_t left = size, piece = 0; left > 0; left -= piece) {
      piece = pace.Piece(std::min<std::uint64_t>(left, 16'384));
      now = std::max(now, pace.After(piece)) + std::chrono::microseconds(100);
    }
    const double ratio = std::chrono::duration<double>(now - start).count() / 3;
    EXPECT_GE(ratio, 1) << rate;
    EXPECT_LE(ratio, 1.01) << rate;
  }
}

// However fast: the n-th byte of a body passes n / rate after the body's begin, and never before.
TEST_F(ServiceTest, SlowKeepsItsRateBothWays) {
  for (const std::uint64_t rate :
       {10'000u, 1'000'000u, 2'500'000u, 4'100'000u, 10'000'000u, 100'000'000u}) {
    const std::string bytes(static_cast<size_t>(rate / 25), 'x');
    client.Open();
    service.SetScript([&](const ClientRequest& request) {
      return request.verb == "GET" ? std::optional(Reply{.body = bytes}) : std::nullopt;
    });
    service.AddFault("*:slow=" + std::to_string(rate));
    const auto start = Clock::now();
    EXPECT_EQ(Client(service).Send("GET", service.Url() + "/any").body.size(), bytes.size());
    const auto answered = Clock::now();
    EXPECT_GE(answered - start, milliseconds(40)) << rate << " bytes a second, answer";
    EXPECT_EQ(Post(client, MakeUpload({{"a.jpg", bytes}})).Outcome(), "ok");
    EXPECT_GE(Clock::now() - answered, milliseconds(40)) << rate << " bytes a second, upload";
    service.SetScript({});
    service.ClearFaults();
    client = Client(service);  // no pause is left from the connection before
  }
}

// On a connection that goes on, no byte of an answer may be left over for the next one.
TEST_F(ServiceTest, TheNextAnswerBeginsWhereOneEnds) {
  const std::string next = "GET /any HTTP/1.1\r\nConnection: close\r\n\r\n";
  for (const char* fault : {"status=200", "status=204", "status=304", "status=503", "error=207",
                            "garbage", "expire", "length=0", "slow=100000"}) {
    for (const std::string verb : {"GET", "HEAD"}) {
      service.AddFault("*:" + std::string(fault) + ",times=1");
      const Peer peer(service);
      peer.Send(verb + " /any HTTP/1.1\r\n\r\n" + next);
      const std::string answers = peer.Receive();
      const auto lengths = Between(answers, "Content-Length: ", "\r\n");
      const bool hasBody = verb == "GET" && lengths.size() == 2;
      const size_t end = answers.find("\r\n\r\n") + 4 + (hasBody ? std::stoul(lengths.front()) : 0);
      EXPECT_EQ(answers.find("HTTP/1.1 404 Not Found\r\n", end), end) << verb << fault << answers;
    }
  }
}

TEST(Stop, EndsSilentAndSlowAnswersAtOnce) {
  auto service = std::make_unique<Service>();
  service->SetScript([](const ClientRequest& request) {
    Reply reply{.body = std::string(10'000, 'x'), .bytesPerSecond = 1};
    reply.silent = request.path == "/silent";
    if (request.path == "/late") reply.delay = std::chrono::hours(1);
    return std::optional(reply);
  });
  std::vector<std::thread> threads;
  std::atomic<int> failed = 0;
  for (const std::string path : {"/silent", "/late", "/slow"}) {
    threads.emplace_back([&failed, url = service->Url() + path, own = Client(*service)]() mutable {
      failed += own.Send("GET", url).code != CURLE_OK;
    });
    EXPECT_TRUE(service->WaitForRequest([&](const auto& request) { return request.path == path; }))
        << path;
  }
  const auto start = Clock::now();
  service.reset();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed, 3);
}

}  // namespace
}  // namespace kelo::devservice
