// Sessions, the state file, and what a failing command says.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "KeloProcess.h"

namespace kelo::host::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class SessionTest : public HostTest {
 protected:
  fs::path State() const { return folder_ / "home/.local/state/kelo"; }
};

TEST_F(SessionTest, KeepsTheSessionForTheUserAlone) {
  LogIn();
  EXPECT_THAT(Names("home/.local/state/kelo"), ElementsAre("server-urls", "session"));
  struct stat file {};
  ASSERT_EQ(stat((State() / "session").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777u, 0600u);
  EXPECT_EQ(Kelo({"extend"}).exitCode, 0);

  const Outcome quota = Kelo({"quota"});
  EXPECT_EQ(quota.exitCode, 0) << quota.err;
  EXPECT_THAT(quota.out, StartsWith("0 bytes of "));

  // A server that is not there is not remembered: closing goes to the one that was.
  EXPECT_EQ(Kelo({"login", "--url", "http://127.0.0.1:1"}).exitCode, 1);
  std::vector<std::string> withoutUrl = Environment();
  std::erase_if(withoutUrl, [](const auto& text) { return text.starts_with("KELO_URL="); });
  EXPECT_EQ(KeloProcess({"logout"}, withoutUrl).Wait().exitCode, 0);
  EXPECT_EQ(Arrived("CloseSession"), 1u);
  EXPECT_FALSE(fs::exists(State() / "session"));
  EXPECT_THAT(Kelo({"quota"}).err, HasSubstr("log in"));
}

TEST_F(SessionTest, SaysWhyAStateFileIsOfNoUse) {
  LogIn();
  const std::string good = ReadFile(State() / "session");
  std::string foreign = good;
  foreign[0] = '?';
  std::string empty = good;
  empty[16 + 4 + 36 + 4] = '\0';  // the token
  const std::pair<std::string, std::string> cases[] = {
      {"", "shorter"},        {good.substr(0, 400), "shorter"},
      {good + "x", "longer"}, {foreign, "damaged"},
      {empty, "damaged"},
  };
  service_.ClearLog();
  for (const auto& [content, word] : cases) {
    std::ofstream(State() / "session", std::ios::binary) << content;
    const Outcome outcome = Kelo({"quota"});
    EXPECT_EQ(outcome.exitCode, 1) << content.size();
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(word), HasSubstr("log in again"))) << content.size();
  }
  EXPECT_EQ(service_.RequestCount(), 0u);
}

TEST_F(SessionTest, SaysInWordsAndWithTheCodeWhatFailed) {
  LogIn();
  struct Case {
    std::vector<std::string> command;
    devservice::Reply reply;
    std::string message;
  };
  const auto fail = [](const std::string& number) {
    return devservice::Reply{.body = "<a stat=\"fail\" errcode=\"" + number + "\" errmsg=\"x\"/>"};
  };
  const Case cases[] = {
      {{"login"},
       fail("301"),
       "cannot open the session: the service does not know the key (4112)\n"},
      {{"quota"}, fail("107"), "(4116)\n"},
      {{"quota"}, fail("999"), "(4144)\n"},
      {{"quota"}, {.body = "nonsense"}, "(4144)\n"},
      {{"tree"}, {.status = 500}, "(4114)\n"},
      {{"tree", "--retries", "0"}, {.status = 504}, "(4128)\n"},
      {{"tree", "--retries", "0"}, {.closeAtOnce = true}, "(4129)\n"},
      {{"mkdir", "Journeys"}, fail("208"), "(4101)\n"},
      {{"contacts"}, {.body = "<a stat=\"ok\"/>"}, "(4144)\n"},
  };
  for (const Case& one : cases) {
    service_.SetScript([reply = one.reply](const auto&) { return reply; });
    const Outcome outcome = Kelo(one.command);
    EXPECT_EQ(outcome.exitCode, 1) << one.command[0] << one.reply.body;
    EXPECT_THAT(outcome.err, AllOf(StartsWith("kelo: cannot "), HasSubstr(one.message)))
        << one.command[0] << one.reply.body;
    EXPECT_EQ(outcome.out, "") << one.command[0];
  }
}

TEST_F(SessionTest, AnswersWrongUsageWithTwo) {
  const std::vector<std::string> cases[] = {{},
                                            {"nonsense"},
                                            {"get", "--bogus"},
                                            {"rate", "id"},
                                            {"rate", "id", "six"},
                                            {"login", "--key", std::string(33, 'k')},
                                            {"caption", "id", std::string(320, 'c')}};
  for (const auto& arguments : cases) {
    const Outcome outcome = Kelo(arguments);
    EXPECT_EQ(outcome.exitCode, 2) << ::testing::PrintToString(arguments);
    EXPECT_NE(outcome.err, "") << ::testing::PrintToString(arguments);
  }
  EXPECT_EQ(service_.RequestCount(), 0u);
}

TEST_F(SessionTest, TellsWhoWasDropped) {
  LogIn();
  ASSERT_EQ(Kelo({"mkalbum", "Party"}).exitCode, 0);
  const Outcome verify = Kelo({"verify", "anna@x.example,nobody", "bob@x.example"});
  EXPECT_EQ(verify.exitCode, 1);
  EXPECT_EQ(verify.out, "accepted: anna@x.example\naccepted: bob@x.example\n");
  EXPECT_THAT(verify.err, AllOf(HasSubstr("rejected by the service: nobody"), HasSubstr("(4117)")));

  const Outcome mail =
      Kelo({"mail", "Party", "--to", "anna@x.example, nobody", "--subject", "Hi", "--verify"});
  EXPECT_EQ(mail.exitCode, 1);
  EXPECT_EQ(mail.out, "sent to anna@x.example\n");
  EXPECT_THAT(mail.err,
              AllOf(HasSubstr("nobody"), HasSubstr("not to everyone"), HasSubstr("(4117)")));
  ASSERT_EQ(service_.Outbox().size(), 1u);
  EXPECT_EQ(service_.Outbox()[0].subject, "Hi");
  EXPECT_FALSE(service_.Outbox()[0].gpsRemoved);
}

}  // namespace
}  // namespace kelo::host::testing
