// Sessions and the state file.
#include <unistd.h>

#include <future>

#include "HostTest.h"
#include "host/library/StateFile.h"

namespace kelo::host::testing {
namespace {

class SessionTest : public HostTest {
 protected:
  fs::path State() const { return folder_ / "home/.local/state/kelo"; }
};

TEST_F(SessionTest, KeepsTheSessionForTheUserAlone) {
  LogIn();
  EXPECT_THAT(Names("home/.local/state/kelo"), ElementsAre("session", "session.lock"));
  EXPECT_EQ(fs::status(State() / "session").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(Kelo("extend").exitCode, 0);

  const Outcome quota = Kelo("quota");
  EXPECT_EQ(quota.exitCode, 0) << quota.err;
  EXPECT_THAT(quota.out, StartsWith("0 bytes of "));

  EXPECT_EQ(Kelo({"login", "--url", service_.Url() + "/"}).exitCode, 0);
  // A server that is not there is not remembered: closing goes to the one that was.
  EXPECT_EQ(Kelo("login --url http://127.0.0.1:1").exitCode, 1);
  EXPECT_EQ(Kelo("logout", EnvironmentWithout("KELO_URL=")).exitCode, 0);
  EXPECT_EQ(Arrived("CloseSession"), 1u);
  EXPECT_THAT(Kelo("quota").err, HasSubstr("log in"));
}

TEST_F(SessionTest, SaysWhyAStateFileIsOfNoUse) {
  LogIn();
  const std::string good = ReadFile(State() / "session");
  std::string foreign = good;
  foreign[0] = '?';
  std::string empty = good;
  empty[16 + 4 + 36 + 4] = '\0';  // the token
  std::string former = good;
  former[13] = '1';
  service_.ClearArrived();
  for (const std::string& content : {std::string(), good.substr(0, 400), good + "x",
                                     good.substr(0, good.size() - 1), foreign, empty, former}) {
    std::ofstream(State() / "session", std::ios::binary) << content;
    const Outcome outcome = Kelo("quota");
    EXPECT_EQ(outcome.exitCode, 1) << content.size();
    EXPECT_THAT(outcome.err, HasSubstr("damaged, or another version or machine wrote it; log in "
                                       "again"))
        << content.size();
  }
  EXPECT_EQ(service_.RequestCount(), 0u);
}

// What earlier versions wrote into three files is understood, until something is saved.
TEST_F(SessionTest, ReadsTheFilesOfEarlierVersions) {
  for (const bool remembered : {false, true}) {
    LogIn();
    std::string session = ReadFile(State() / "session").substr(0, 16 + 4 + 36 + 800);
    session[13] = '1';
    std::ofstream(State() / "session", std::ios::binary) << session;
    const auto write = [this](const char* name, const std::string& text) {
      std::ofstream(State() / name) << text;
      fs::permissions(State() / name, fs::perms::owner_read | fs::perms::owner_write);
    };
    write("server-urls", "kKELO_URLofKELOServer = \"" + service_.Url() + "\"\n");
    if (remembered) {
      write("credentials",
            service_.ApiKey() + "\n" + service_.AuthToken() + "\n" + service_.Secret() + "\n");
      service_.ExpireTokens();
    }
    const Words plain = EnvironmentWithout("KELO_");
    EXPECT_EQ(Kelo(remembered ? "mkdir B" : "mkdir A", plain).exitCode, 0);
    service_.ClearArrived();
    EXPECT_EQ(Kelo("logout", plain).exitCode, 0);
    EXPECT_EQ(Arrived("CloseSession"), 1u);
    EXPECT_THAT(Names("home/.local/state/kelo"), ElementsAre("locks", "session", "session.lock"));
  }
}

TEST_F(SessionTest, WhatIsKeptBelongsTogether) {
  const StateFile file(folder_ / "state");
  const auto save = [&](const std::string& one) {
    Kept kept{.url = "http://" + one, .account = one, .session = StoredSession{.secret = one}};
    one.copy(kept.session->session.token, 27);
    kept.credentials = {one, one, one};
    for (int i = 0; i < 100; ++i) file.Save(kept);
  };
  Write("state/session." + std::string(32, 'a'), "of a run that was killed");
  auto a = std::async(std::launch::async, save, "a");
  auto b = std::async(std::launch::async, save, "b");
  for (int i = 0; i < 300; ++i) {
    const Kept kept = file.Load();
    if (kept.account.empty()) continue;  // nothing yet
    EXPECT_EQ(kept.url, "http://" + kept.account);
    EXPECT_EQ(kept.session->secret, kept.account);
    EXPECT_EQ(kept.credentials->authToken, kept.account);
  }
  a.get();
  b.get();
  EXPECT_THAT(Names("state"), ElementsAre("session", "session.lock"));
  Kept former = file.Load();
  const std::string last = former.account;
  former.account = "of another login";
  file.Replace(former, {});
  EXPECT_EQ(file.Load().account, last);
}

TEST_F(SessionTest, RefusesStateThatOthersMayReadOrWrite) {
  ASSERT_EQ(Kelo("login --remember").exitCode, 0);
  service_.ClearArrived();
  const fs::path file = State() / "session";
  for (const mode_t mode : {0640, 0604, 0620, 0602}) {
    ASSERT_EQ(::chmod(file.c_str(), mode), 0);
    const Outcome outcome = Kelo("quota", EnvironmentWithout("KELO_URL="));
    EXPECT_EQ(outcome.exitCode, 1) << mode;
    EXPECT_THAT(outcome.err, HasSubstr("'chmod 600 " + file.string() + "'")) << mode;
  }
  ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
  fs::rename(file, State() / "kept");
  fs::create_directory(file);
  EXPECT_THAT(Kelo("quota", EnvironmentWithout("KELO_URL=")).err,
              HasSubstr(file.string() + " is not a regular file; remove it and log in again"));
  fs::remove(file);
  fs::rename(State() / "kept", file);
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(file.c_str(), 1, 1), 0);
    EXPECT_THAT(Kelo("quota").err, HasSubstr("belongs to another user"));
    ASSERT_EQ(::chown(file.c_str(), 0, 0), 0);
  }
  EXPECT_EQ(service_.RequestCount(), 0u);
  EXPECT_EQ(Kelo("quota").exitCode, 0);
}

TEST_F(SessionTest, KeepsProfilesApart) {
  const devservice::Service other;
  const Words elsewhere = EnvironmentOf(other);
  LogIn();
  EXPECT_EQ(Kelo("login", elsewhere + "KELO_PROFILE=work").exitCode, 0);
  const Words plain = EnvironmentWithout("KELO_");
  const auto run = [&](const Words& words) { return Kelo(words, plain); };
  EXPECT_EQ(run("mkdir Home").exitCode, 0);
  EXPECT_EQ(run("mkdir Office --profile work").exitCode, 0);
  EXPECT_THAT(run("ls").out, AllOf(HasSubstr("Home"), Not(HasSubstr("Office"))));
  EXPECT_THAT(run("--profile work ls").out, AllOf(HasSubstr("Office"), Not(HasSubstr("Home"))));
  EXPECT_EQ(run("logout --profile work").exitCode, 0);
  EXPECT_EQ(run("quota").exitCode, 0);
  EXPECT_THAT(run("quota --profile work").err, HasSubstr("log in"));
  for (const char* name : {"", ".", "..", "../x", "a/b", ".hidden", "a\x1B"})
    EXPECT_EQ(run({"quota", "--profile", name}).exitCode, 2) << name;
  EXPECT_EQ(Kelo("quota", elsewhere + "KELO_PROFILE=../x").exitCode, 2);
  const Outcome homeless = Kelo("quota", {});
  EXPECT_EQ(homeless.exitCode, 1);
  EXPECT_THAT(homeless.err, HasSubstr("set HOME or XDG_STATE_HOME to an absolute path"));
}

TEST_F(SessionTest, OpensAnEndedSessionAgainWhereCredentialsAreKept) {
  ASSERT_EQ(Kelo("login --remember").exitCode, 0);
  const Words commands[] = {
      "mkdir Journeys", "quota", "ls", {"put", Write("a.jpg", "aaa")}, "verify anna@x.example"};
  for (const Words& command : commands) {
    service_.ExpireTokens();
    service_.ClearArrived();
    const Outcome outcome = Kelo(command);
    EXPECT_EQ(outcome.exitCode, 0) << command[0] << outcome.err;
    EXPECT_EQ(Arrived("OpenSession"), 1u) << command[0];
    EXPECT_EQ(Kelo("extend").exitCode, 0);  // the new session was kept
    EXPECT_EQ(Arrived("OpenSession"), 1u) << command[0];
  }

  // The session ends between loading the account and what needs it.
  std::atomic<bool> ended = false;
  service_.SetScript([&](const auto& request) {
    if (request.method == "AddAlbum" && !ended.exchange(true)) service_.ExpireTokens();
    return std::optional<devservice::Reply>();
  });
  service_.ClearArrived();
  const Outcome album = Kelo("mkalbum Lisbon --folder Journeys");
  EXPECT_EQ(album.exitCode, 0) << album.err;
  EXPECT_EQ(album.err, "");
  EXPECT_EQ(Arrived("OpenSession"), 1u);
  EXPECT_EQ(Arrived("AddAlbum"), 2u);
  EXPECT_EQ(Arrived("GetHierarchy"), 2u);

  // So often does it end in one command, at once or when what was forgotten is loaded again. One
  // that has helped nothing twice is not opened for ever.
  struct Case {
    const char* command;
    const char* method;  // whose requests find no session
    size_t times;
    bool andAllBehind;
    int exitCode;
    size_t opened;
  };
  const Case cases[] = {{"quota", "GetStorageCapacity", 2, false, 0, 2},
                        {"quota", "GetStorageCapacity", 99, false, 1, 2},
                        {"mkalbum Rome", "AddAlbum", 99, false, 1, 2},
                        {"mkalbum Rome", "AddAlbum", 99, true, 1, 1}};
  for (const Case& one : cases) {
    const auto met = std::make_shared<std::atomic<size_t>>(0);
    AnswerWith(Refusal(107), "", [=](const ClientRequest& request) {
      const bool isBehind = one.andAllBehind && *met > 0 && request.method != "OpenSession";
      return (isBehind || request.method == one.method) && (*met)++ < one.times;
    });
    service_.ClearArrived();
    EXPECT_EQ(Kelo(one.command).exitCode, one.exitCode) << one.method;
    EXPECT_EQ(Arrived("OpenSession"), one.opened) << one.method << one.andAllBehind;
  }
}

TEST_F(SessionTest, SaysThatKeptCredentialsAreOfNoUseAndForgetsThoseOfAFormerLogin) {
  ASSERT_EQ(Kelo("login --remember").exitCode, 0);
  StateFile state(State());
  Kept kept = state.Load();
  kept.credentials = {"k", "t", "s"};
  state.Save(kept);
  service_.ExpireTokens();
  EXPECT_THAT(Kelo("quota").err, HasSubstr("cannot open the session"));
  LogIn();
  service_.ExpireTokens();
  EXPECT_THAT(Kelo("quota").err, HasSubstr("log in again with 'kelo login' (4116)"));
  EXPECT_EQ(Kelo("login --remember").exitCode, 0);
  service_.ExpireTokens();
  service_.ClearArrived();
  EXPECT_EQ(Kelo("logout").exitCode, 0);
  EXPECT_EQ(Arrived("OpenSession"), 0u);
  EXPECT_THAT(Names("home/.local/state/kelo"), ElementsAre("session", "session.lock"));
}

TEST_F(SessionTest, WithoutATerminalALoginNeedsAllCredentials) {
  const Outcome none = Kelo("login", EnvironmentWithout("KELO_"));
  EXPECT_EQ(none.exitCode, 2);
  EXPECT_THAT(none.err, AllOf(HasSubstr("--key (or KELO_KEY), --token (or KELO_TOKEN)"),
                              HasSubstr("--secret (or KELO_SECRET)")));
  const Words environment = EnvironmentWithout("KELO_SECRET=");
  const Outcome some = Kelo("login", environment);
  EXPECT_EQ(some.exitCode, 2);
  EXPECT_THAT(some.err, AllOf(HasSubstr("--secret"), Not(HasSubstr("--key"))));
  EXPECT_THAT(Kelo("login", environment + "KELO_SECRET=short").err,
              HasSubstr("--secret: is shorter"));
  EXPECT_EQ(service_.RequestCount(), 0u);
}

TEST_F(SessionTest, AsksOnATerminalForWhatIsMissing) {
  Words environment = EnvironmentWithout("KELO_TOKEN=");
  std::erase_if(environment, [](const auto& text) { return text.starts_with("KELO_SECRET="); });
  struct Case {
    std::string secret;
    int exitCode;
    std::string end;
  };
  const Case cases[] = {{service_.Secret() + "\n", 0, "logged in"},
                        {"\n", 2, "--secret: must not be empty"},
                        {"short\n", 2, "--secret: is shorter than 8 characters"},
                        {"\x04", 1, "the input ended before"},
                        {"abc\x03", 130, "aborted"}};
  for (const Case& one : cases) {
    KeloProcess kelo("login", environment, 80);
    ASSERT_TRUE(kelo.ReadErrorUntil("Token: "));
    EXPECT_TRUE(kelo.ShowsWhatIsTyped());
    kelo.Type(service_.AuthToken() + "\n");
    ASSERT_TRUE(kelo.ReadErrorUntil("Secret: "));
    EXPECT_FALSE(kelo.ShowsWhatIsTyped());
    kelo.Type(one.secret);
    const Outcome outcome = kelo.Wait();
    EXPECT_EQ(outcome.exitCode, one.exitCode) << outcome.err;
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(service_.AuthToken()), HasSubstr(one.end),
                                   Not(HasSubstr(service_.Secret())), Not(HasSubstr("abc"))));
    EXPECT_TRUE(kelo.ShowsWhatIsTyped()) << outcome.err;
  }
}

TEST_F(SessionTest, TellsWhoWasDropped) {
  LogIn();
  ASSERT_EQ(Kelo("mkalbum Party").exitCode, 0);
  EXPECT_EQ(Kelo("verify anna@x.example,nobody").out, "accepted: anna@x.example\n");
  const Outcome mail =
      Kelo({"mail", "Party", "--to", "anna@x.example, nobody", "--subject", "Hi", "--verify"});
  EXPECT_EQ(mail.exitCode, 1);
  EXPECT_EQ(mail.out, "sent to anna@x.example\n");
  EXPECT_THAT(mail.err, AllOf(HasSubstr("rejected by the service: nobody"),
                              HasSubstr("not to everyone"), HasSubstr("(4117)")));
  ASSERT_EQ(service_.Outbox().size(), 1u);
  EXPECT_EQ(service_.Outbox()[0].subject, "Hi");
  EXPECT_FALSE(service_.Outbox()[0].gpsRemoved);
}

}  // namespace
}  // namespace kelo::host::testing
