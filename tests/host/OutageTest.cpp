// Runs that meet an outage: which go on when it is over, which give up, and what they say.
#include <atomic>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

class OutageTest : public GetTest {
 protected:
  // All requests of this method are answered so until the outage is over: after so many.
  void Begin(const Reply& reply, const std::string& what = "", int requests = 1 << 20) {
    left_ = requests;
    service_.ClearArrived();
    AnswerWith(reply, what, [this](const auto&) { return left_-- > 0; });
  }

  struct Case {
    Words command;
    std::string method;
    Reply reply;
    int requests;
    int exitCode;
    size_t begun;  // notes of an outage, and of its end
    size_t ended;
  };

  void TryEach(const std::vector<Case>& cases) {
    for (const Case& one : cases) {
      Begin(one.reply, one.method, one.requests);
      const Outcome outcome = Kelo(one.command + "--give-up-after 3s");
      const std::string which = ::testing::PrintToString(one.command) + one.method + outcome.err;
      EXPECT_EQ(outcome.exitCode, one.exitCode) << which;
      EXPECT_EQ(CountOf("; trying again for up to 0:03\n", outcome.err), one.begun) << which;
      EXPECT_EQ(CountOf("the service answers again, after 0:0", outcome.err), one.ended) << which;
      const bool gaveUp = one.exitCode != 0 && one.ended == 0;
      EXPECT_EQ(CountOf("kelo: given up: nothing has answered for 0:03\n", outcome.err), gaveUp)
          << which;
    }
  }

  std::atomic<int> left_ = 0;
};

TEST_F(OutageTest, GoesOnWhenTheServiceIsBackAndGivesUpInTime) {
  const std::string picture = Write("a.jpg", "aaa");
  ASSERT_EQ(Kelo("mkalbum Party").exitCode, 0);
  ASSERT_EQ(Kelo({"put", Write("b.jpg", "bbb"), "--album", "Party"}).exitCode, 0);
  const Words put = {"put", picture, "--force"};
  const Words get = {"get", "Party", "--replace", "--to", Out()};
  const Reply reset{.reset = true};
  TryEach({
      // more failures than tries that do not ask first whether the service is there
      {put, "", reset, 6, 0, 1, 1},
      {get, "", reset, 6, 0, 1, 1},
      {"quota", "", {.closeAtOnce = true}, 6, 0, 1, 1},
      {put, "", reset, 1 << 20, 1, 1, 0},
      {get, "", {.status = 504}, 1 << 20, 1, 1, 0},
      {"tree", "", reset, 1 << 20, 1, 1, 0},
      // the service is there all the time: only this fails
      {get, "/original/", reset, 1 << 20, 1, 1, 1},
      // bytes come for longer than the patience
      {"contacts",
       "GetAddressList",
       {.body = "<a stat=\"ok\" addressList=\"a@x.example\"/>" + std::string(800, ' '),
        .bytesPerSecond = 200},
       1,
       0,
       0,
       0},
  });
}

TEST_F(OutageTest, GivesARequestUpThatIsSilent) {
  ASSERT_EQ(Kelo("mkalbum Party").exitCode, 0);
  TryEach({
      {"quota", "", {.silent = true}, 1 << 20, 1, 0, 0},
      {"login", "", {.silent = true}, 1 << 20, 1, 0, 0},
      {"mail Party --to a@x.example", "ShareAlbum", {.silent = true}, 1, 1, 0, 0},
  });
  // Nobody waits long for the answer whether the service is back.
  service_.SetScript([left = std::make_shared<std::atomic<int>>(6)](const auto& request) {
    const bool asks = request.method == "GetStorageCapacity";
    return (*left)-- > 0 ? std::optional(Reply{.reset = !asks, .silent = asks}) : std::nullopt;
  });
  const Outcome get = Kelo({"get", "Party", "--to", Out(), "--give-up-after", "6s"});
  EXPECT_EQ(get.exitCode, 0) << get.err;
  EXPECT_EQ(CountOf("the service answers again, after 0:0", get.err), 1u) << get.err;
}

TEST_F(OutageTest, ShowsAnOutageOfWorkersInTheLiveLine) {
  ASSERT_EQ(Kelo({"put", Write("in/a.jpg", "aaa").parent_path(), Write("b.jpg", "b")}).exitCode, 0);
  Begin({.closeAtOnce = true});
  const Words get = {"get", "a.jpg", "b.jpg", "--to", Out()};
  const Words commands[] = {
      get + "--give-up-after 5s", get, {"put", In(), Write("b.jpg", "b"), "--force"}};
  for (const Words& command : commands) {
    left_ = 0;
    service_.SetScript([this, begun = std::make_shared<std::atomic<bool>>()](const auto& request) {
      const bool transfers = request.method.starts_with("Upload") ||
                             request.path.find("/original/") != std::string::npos;
      if (transfers && !begun->exchange(true)) left_ = 1 << 20;
      return left_-- > 0 ? std::optional(Reply{.closeAtOnce = true}) : std::nullopt;
    });
    KeloProcess kelo(command, Environment(), 100);
    EXPECT_TRUE(kelo.ReadErrorUntil("no connection for 0:0")) << kelo.ErrorSoFar();
    const bool givesUp = command.back() == "5s";
    if (!givesUp) left_ = 0;
    const Outcome outcome = kelo.Wait();
    EXPECT_EQ(outcome.exitCode, givesUp ? 1 : 0) << outcome.err;
    EXPECT_EQ(CountOf("kelo: given up: nothing has answered for 0:05", outcome.err), givesUp);
    EXPECT_THAT(outcome.err, Not(HasSubstr("for up to")));
  }
}

TEST_F(OutageTest, NamesTheProxyThatFails) {
  std::string gone;
  {
    const devservice::Service service;
    gone = service.Url().substr(std::string("http://").size());
  }
  const std::pair<std::string, std::string> cases[] = {
      {"u:pw@" + gone, "the proxy http://" + gone + " refuses connections\n"},
      {"u:p@w@mistyped.invalid:1",
       "no address was found for the proxy http://mistyped.invalid:1\n"}};
  for (const auto& [proxy, words] : cases) {
    const Outcome outcome =
        Kelo("quota --give-up-after 1s", Environment() + Words{"http_proxy=http://" + proxy});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("kelo: given up: nothing has answered for 0:01; "),
                                   HasSubstr(words), Not(HasSubstr("w@"))));
  }
}

}  // namespace
}  // namespace kelo::host::testing
