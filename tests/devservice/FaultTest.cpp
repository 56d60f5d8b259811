// Scripted answers that no other test asks for, connections, and the end of them.
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

#include "devservice/Client.h"

namespace kelo::devservice {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

TEST_F(ServiceTest, SlowAndWronglyMeasuredAnswers) {
  struct Case {
    const char* what;
    Reply reply;
    CURLcode code;
    std::size_t size;
    milliseconds atLeast{0};
  };
  const std::string body(1000, 'x');
  const milliseconds slow(60);
  const Case cases[] = {
      {"delay", {.body = body, .delay = slow}, CURLE_OK, 1000, slow},
      {"trickle",
       {.body = body, .chunkSize = 300, .chunkDelay = milliseconds(20)},
       CURLE_OK,
       1000,
       slow},
      {"declared too long", {.body = body, .declaredLength = 1001}, CURLE_PARTIAL_FILE, 1000},
      {"declared too short", {.body = body, .declaredLength = 999}, CURLE_OK, 999},
      {"cut at once", {.body = body, .cutAfter = 0}, CURLE_PARTIAL_FILE, 0},
  };
  for (const Case& c : cases) {
    service.SetScript([reply = c.reply](const LoggedRequest&) { return std::optional(reply); });
    const auto start = Clock::now();
    const Response response = Client(service).Send("GET", service.Url() + "/any");
    EXPECT_EQ(response.code, c.code) << c.what;
    EXPECT_EQ(response.body.size(), c.size) << c.what;
    EXPECT_GE(Clock::now() - start, c.atLeast) << c.what;
  }
}

TEST_F(ServiceTest, AHeadScriptAnswersBeforeTheBodyEnds) {
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
    Reply reply{.body = "xx", .chunkSize = 1, .chunkDelay = std::chrono::hours(1)};
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

TEST_F(ServiceTest, ConnectionsStayOpenAndRunSideBySide) {
  std::vector<std::thread> threads;
  std::atomic<int> good = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, &good] {
      Client own(service);
      for (int round = 0; round < 100; ++round) {
        const Response outbox = own.Send("GET", service.Url() + "/outbox");
        good += outbox.status == 200 && outbox.head.find("close") == std::string::npos;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 400);
}

}  // namespace
}  // namespace kelo::devservice
