// Scripted answers, the log, connections.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>

#include "devservice/Client.h"

namespace kelo::devservice {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

TEST(Script, SendsEveryKindOfAnswer) {
  Service service;
  Client client(service);
  struct Case {
    const char* what;
    Reply reply;
    CURLcode code;
    long status;
    std::size_t size;
    milliseconds atLeast{0};
  };
  const std::string body(1000, 'x');
  const Case cases[] = {
      {"plain", {.body = body}, CURLE_OK, 200, 1000},
      {"status", {.status = 504, .body = body}, CURLE_OK, 504, 1000},
      {"redirect", {.status = 302, .headers = {{"Location", "/x"}}}, CURLE_OK, 302, 0},
      {"delay", {.body = body, .delay = milliseconds(60)}, CURLE_OK, 200, 1000, milliseconds(60)},
      {"trickle",
       {.body = body, .chunkSize = 300, .chunkDelay = milliseconds(20)},
       CURLE_OK,
       200,
       1000,
       milliseconds(60)},
      {"declared too long", {.body = body, .declaredLength = 1001}, CURLE_PARTIAL_FILE, 200, 1000},
      {"declared too short", {.body = body, .declaredLength = 999}, CURLE_OK, 200, 999},
      {"declared right", {.body = body, .declaredLength = 1000}, CURLE_OK, 200, 1000},
      {"cut", {.body = body, .cutAfter = 400}, CURLE_PARTIAL_FILE, 200, 400},
      {"cut at once", {.body = body, .cutAfter = 0}, CURLE_PARTIAL_FILE, 200, 0},
      {"closed", {.closeAtOnce = true}, CURLE_GOT_NOTHING, 0, 0},
  };
  for (const Case& c : cases) {
    service.SetScript([reply = c.reply](const LoggedRequest&) { return std::optional(reply); });
    const auto start = Clock::now();
    const Response response = Client(service).Send("GET", service.Url() + "/any");
    EXPECT_EQ(response.code, c.code) << c.what;
    EXPECT_EQ(response.status, c.status) << c.what;
    EXPECT_EQ(response.body.size(), c.size) << c.what;
    EXPECT_GE(Clock::now() - start, c.atLeast) << c.what;
  }
  service.SetScript({});
  EXPECT_EQ(client.Send("GET", service.Url() + "/any").status, 404);
  EXPECT_EQ(service.RequestCount(), std::size(cases) + 1);
}

TEST(Script, SeesWhatArrivesAndMayLetItPass) {
  Service service;
  Client client(service);
  client.Open();
  service.ClearLog();
  std::mutex mutex;
  std::string seen;
  service.SetScript([&](const LoggedRequest& request) -> std::optional<Reply> {
    const std::lock_guard lock(mutex);
    seen = request.apiMethod + " " + request.Header("x-test");
    return std::nullopt;
  });
  const std::string document = Client::kDeclarations + "<GetStorageCapacity />\r\n";
  const std::string query = client.Query(document);
  EXPECT_EQ(client.Send("PUT", client.manageUrl + "?" + query, &document, {"X-Test: 7"}).Outcome(),
            "ok");
  {
    const std::lock_guard lock(mutex);
    EXPECT_EQ(seen, "GetStorageCapacity 7");
  }
  ASSERT_EQ(service.Log().size(), 1u);
  const LoggedRequest logged = service.Log().front();
  EXPECT_EQ(logged.method, "PUT");
  EXPECT_EQ(logged.query, query);
  EXPECT_EQ(logged.target, logged.path + "?" + query);
  EXPECT_EQ(logged.body, document);
  EXPECT_EQ(logged.bodySize, document.size());
}

TEST(Script, OfHeadsAnswersBeforeTheBodyEnds) {
  Service service;
  Client client(service);
  service.SetHeadScript([](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.bodySize != 5'000'000) return std::nullopt;
    return Reply{.status = 500, .body = "no", .readFirst = 100'000};
  });
  const std::string body(5'000'000, 'x');
  EXPECT_EQ(client.Send("POST", service.Url() + "/any", &body).status, 500);
  const LoggedRequest logged = service.Log().back();
  EXPECT_FALSE(logged.complete);
  EXPECT_GE(logged.bodySize, 100'000u);
  EXPECT_LT(logged.bodySize, body.size());
}

TEST(Stop, EndsSilentAndSlowAnswersAtOnce) {
  auto service = std::make_unique<Service>();
  service->SetScript([](const LoggedRequest& request) {
    Reply reply;
    reply.silent = request.path == "/silent";
    if (request.path == "/late") reply.delay = std::chrono::hours(1);
    reply.body = "xx";
    reply.chunkSize = 1;
    reply.chunkDelay = std::chrono::hours(1);
    return std::optional(reply);
  });
  std::vector<std::thread> threads;
  std::atomic<int> failed = 0;
  for (const char* path : {"/silent", "/late", "/slow"}) {
    threads.emplace_back([&service, &failed, url = service->Url() + path] {
      CURL* curl = curl_easy_init();
      curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
      curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
      curl_easy_setopt(
          curl, CURLOPT_WRITEFUNCTION,
          +[](char*, size_t size, size_t count, void*) { return size * count; });
      if (curl_easy_perform(curl) != CURLE_OK) ++failed;
      curl_easy_cleanup(curl);
    });
  }
  for (const char* path : {"/silent", "/late", "/slow"}) {
    EXPECT_TRUE(service->WaitForRequest([&](const LoggedRequest& request) {
      return request.path == path;
    })) << path;
  }
  const auto start = Clock::now();
  service.reset();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed, 3);
}

TEST(Connections, StayOpenForManyRequestsAndRunSideBySide) {
  Service service;
  Client client(service);
  client.Open();
  for (int i = 0; i < 300; ++i) {
    const Response response = client.Call("GetStorageCapacity");
    ASSERT_EQ(response.Outcome(), "ok");
    ASSERT_EQ(response.head.find("close"), std::string::npos) << response.head;
  }
  std::vector<std::thread> threads;
  std::atomic<int> good = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&service, &good] {
      Client own(service);
      own.token.clear();
      for (int round = 0; round < 20; ++round)
        good += own.Send("GET", service.Url() + "/outbox").status == 200;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 80);
}

}  // namespace
}  // namespace kelo::devservice
