// What is sent again and what is not, and several programs on one session and one account.
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <future>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

class RetryTest : public HostTest {
 protected:
  RetryTest() { LogIn(); }

  // The first so many requests of this method are answered so.
  void FailFirst(const std::string& method, int times, const Reply& reply) {
    const auto left = std::make_shared<std::atomic<int>>(times);
    service_.ClearArrived();
    AnswerWith(reply, method, [=](const auto&) { return (*left)-- > 0; });
  }
};

TEST_F(RetryTest, SendsAgainWhatDoesNoHarm) {
  ASSERT_EQ(Kelo("mkalbum Party").exitCode, 0);
  ASSERT_EQ(Kelo({"put", Write("a.jpg", "aaa").string(), "--album", "Party"}).exitCode, 0);
  const Reply lost{.closeAtOnce = true};
  const Reply timedOut{.status = 504};
  const Reply callIdTaken = Refusal(104);
  struct Case {
    Words command;
    std::string method;
    int failures;
    Reply reply;
    size_t arrived;
    int exitCode;
  };
  const Case cases[] = {
      {"quota", "GetStorageCapacity", 1, lost, 2, 0},
      {"quota", "GetStorageCapacity", 2, timedOut, 2, 1},
      {"quota --retries 0", "GetStorageCapacity", 1, lost, 1, 1},
      {"quota", "GetStorageCapacity", 1, {.status = 429}, 2, 0},
      {"quota", "GetStorageCapacity", 1, {.status = 502}, 2, 0},
      {"quota", "GetStorageCapacity", 1, {.status = 503}, 2, 0},
      {"quota", "GetStorageCapacity", 1, {.status = 500}, 1, 1},
      {"quota", "GetStorageCapacity", 1, Refusal(999), 1, 1},
      // as many as behind a command that has sent more than a request a millisecond
      {"quota", "GetStorageCapacity", 20, callIdTaken, 21, 0},
      {"tree", "GetHierarchy", 1, timedOut, 2, 0},
      {"login", "OpenSession", 1, lost, 2, 0},
      {"tag Party sea", "AddTags", 1, lost, 2, 0},
      {"mkdir One", "AddFolder", 1, lost, 1, 1},
      {"mkdir Two Three", "AddFolder", 1, callIdTaken, 3, 0},
      {"mail Party --to a@x.example", "ShareAlbum", 1, timedOut, 1, 1},
      {"mail Party --to a@x.example,b@x.example;", "ShareAlbum", 1, callIdTaken, 2, 0},
  };
  for (const Case& one : cases) {
    FailFirst(one.method, one.failures, one.reply);
    const Outcome outcome = Kelo(one.command + (one.command.back() == "0" ? "" : "--retries 1"));
    const std::string which = ::testing::PrintToString(one.command) + one.reply.body;
    EXPECT_EQ(outcome.exitCode, one.exitCode) << which << outcome.err;
    EXPECT_EQ(Arrived(one.method), one.arrived) << which;
    const bool passes =
        one.reply.closeAtOnce || (one.reply.status > 400 && one.reply.status != 500);
    const bool again = passes && one.arrived > 1;
    EXPECT_EQ(outcome.err.find("; trying again for up to 0:20\n") != std::string::npos, again)
        << which << outcome.err;
  }
}

// Nothing has left this machine: even what must not be done twice is tried again.
TEST_F(RetryTest, TriesEverythingAgainThatFoundNobody) {
  Words environment;
  {
    const devservice::Service gone;
    environment = EnvironmentOf(gone);
    ASSERT_EQ(Kelo("login", environment).exitCode, 0);
  }
  const Outcome outcome = Kelo("mkdir One --retries 1", environment);
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_THAT(outcome.err, HasSubstr("; trying again for up to 0:20\n"));
  EXPECT_THAT(outcome.err, HasSubstr("'kelo -v' shows the requests"));

  // Ctrl-C in a pause.
  KeloProcess pausing("mkdir One --retries 1000", environment);
  ASSERT_TRUE(pausing.ReadErrorUntil("trying again"));
  pausing.Signal(SIGINT);
  const Outcome aborted = pausing.Wait();
  EXPECT_EQ(aborted.exitCode, 130);
  EXPECT_THAT(aborted.err, ::testing::EndsWith("kelo: aborted\n"));
}

TEST_F(RetryTest, SeveralProgramsShareASession) {
  constexpr int kPrograms = 4;
  constexpr int kRuns = 6;
  const auto use = [this](int program) {
    for (int run = 0; run < kRuns; ++run) {
      const std::string name = std::to_string(program) + "-" + std::to_string(run);
      const Words commands[] = {
          {"mkdir", name + "a", name + "b"}, "login", "tree", "quota", "contacts"};
      for (const Words& command : commands) {
        const Outcome outcome = Kelo(command);
        EXPECT_EQ(outcome.exitCode, 0) << command[0] << ": " << outcome.err;
      }
    }
  };
  std::vector<std::future<void>> programs;
  for (int program = 0; program < kPrograms; ++program)
    programs.push_back(std::async(std::launch::async, use, program));
  for (auto& program : programs) program.get();
  EXPECT_EQ(Kelo("login --key wrong-key").exitCode, 1);
  EXPECT_THAT(Names("home/.local/state/kelo"),
              UnorderedElementsAre("locks", "session", "session.lock"));
  const Outcome list = Kelo("ls");
  EXPECT_EQ(std::count(list.out.begin(), list.out.end(), '\n'), 1 + 2 * kPrograms * kRuns);
}

// The library writes no trace for a program that has a group which its caller has not.
TEST_F(RetryTest, JudgesByResultsAloneWhereThereIsNoTrace) {
  constexpr gid_t kOtherGroup = 65534;
  const fs::path program = folder_ / "kelo";
  fs::copy_file(KELO_PROGRAM, program);
  struct statvfs system {};
  ::statvfs(program.c_str(), &system);
  if ((system.f_flag & ST_NOSUID) != 0 || ::chown(program.c_str(), ~0u, kOtherGroup) != 0 ||
      ::chmod(program.c_str(), 02755) != 0)
    GTEST_SKIP() << "a program cannot be given another group here";
  const Reply lost{.closeAtOnce = true};
  struct Case {
    const char* command;
    std::string method;
    Reply reply;
    size_t arrived;
    size_t told;
  };
  const Case cases[] = {{"quota", "GetStorageCapacity", lost, 2, 1},
                        {"contacts", "GetAddressList", Refusal(104), 2, 1},
                        {"quota", "GetStorageCapacity", Refusal(208), 1, 0},
                        {"quota -v", "ShareAlbum", lost, 0, 1},
                        {"quota", "ShareAlbum", lost, 0, 0},
                        {"mkdir One", "AddFolder", lost, 1, 1}};
  for (const Case& one : cases) {
    FailFirst(one.method, 1, one.reply);
    const Words environment = {"HOME=" + (folder_ / "home").string()};
    const std::string err = Process(program.c_str() + Words(one.command), {environment}).Wait().err;
    EXPECT_EQ(Arrived(one.method), one.arrived) << one.command << err;
    EXPECT_EQ(CountOf("only results decide", err), one.told) << one.command;
  }
}

TEST_F(RetryTest, TheTraceTellsFailuresApart) {
  struct Case {
    Words command;
    std::optional<Reply> reply;
    std::string word;
  };
  const Case cases[] = {
      {"login --key wrong-key", std::nullopt, "errcode=101"},
      {"quota", Reply{.status = 500}, "http=500 cause=status"},
      {"login --url http://mistyped.invalid", std::nullopt, "cause=unresolved"},
  };
  for (const auto& [command, reply, word] : cases) {
    service_.SetScript([reply](const auto&) { return reply; });
    const Outcome quiet = Kelo(command);
    EXPECT_EQ(quiet.exitCode, 1) << command[0];
    EXPECT_THAT(quiet.err, AllOf(HasSubstr("(4"), HasSubstr("'kelo -v' shows the requests"),
                                 Not(HasSubstr("command="))));
    const Outcome told = Kelo(command + "-v");
    EXPECT_THAT(told.err, AllOf(HasSubstr(word), Not(HasSubstr("kelo -v"))));
    EXPECT_EQ(CountOf(" command=", told.err), 1u) << told.err;
    // The same into a file, for whoever set the variable.
    const fs::path log = folder_ / "log";
    Kelo(command + Words{"-q", "--log-file", log},
         Environment() + Words{"KELO_TRACE=" + (folder_ / "trace").string()});
    EXPECT_THAT(ReadFile(folder_ / "trace"), HasSubstr(word));
    // And with what is said, where the line asks for a log.
    EXPECT_THAT(ReadFile(log), AllOf(HasSubstr(word), HasSubstr("Z kelo: cannot ")));
    EXPECT_EQ(fs::status(log).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
}

class LockTest : public PutTest {
 protected:
  LockTest() {
    Write("in/a.jpg", "aaa");
    Write("in/b.jpg", "bbb");
    // The first upload lasts until the test lets it go on.
    service_.SetScript([goOn = goOn_.get_future().share(),
                        begun = std::make_shared<std::atomic<bool>>()](const auto& request) {
      if (request.method == "UploadItems" && !begun->exchange(true)) goOn.wait();
      return std::optional<Reply>();
    });
  }

  Words PutNew() const { return {kContained, "put", In(), "--album", "New"}; }
  int MakeAlbum(const char* name) const { return Kelo({"mkalbum", name, "--no-wait"}).exitCode; }

  std::promise<void> goOn_;
};

const char* const kWaiting = "waiting for another run that changes this account: kelo put, since 2";

TEST_F(LockTest, OneRunAtATimeChangesAnAccount) {
  ASSERT_EQ(Kelo("login --profile again").exitCode, 0);
  KeloProcess first(PutNew(), Environment());
  ASSERT_TRUE(WaitFor("UploadItems"));
  const Words changing[] = {
      {"put", In()}, "mkdir x",  "mkalbum x --profile again", "rate x 1", "tag x x",
      "caption x x", "link x x", "mail x --to a@x.example"};
  for (const Words& command : changing) {
    const Outcome outcome = Kelo(command + "--no-wait");
    EXPECT_EQ(outcome.exitCode, 4) << command[0] << outcome.err;
    EXPECT_THAT(outcome.err, StartsWith("kelo: another run changes this account: kelo put, since"));
  }
  for (const Words& command : {Words{"put", In(), "--dry-run"}, Words("ls"), Words("quota")})
    EXPECT_EQ(Kelo(command).exitCode, 0) << command[0];
  KeloProcess aborted("mkdir x", Environment());
  ASSERT_TRUE(aborted.ReadErrorUntil(kWaiting)) << aborted.ErrorSoFar();
  aborted.Signal(SIGINT);
  EXPECT_EQ(aborted.Wait().exitCode, 130);
  KeloProcess second(PutNew(), Environment());
  ASSERT_TRUE(second.ReadErrorUntil(kWaiting)) << second.ErrorSoFar();
  goOn_.set_value();
  EXPECT_EQ(first.Wait().exitCode, 0);
  const Outcome outcome = second.Wait();
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.out, HasSubstr("0 stored, 2 already there"));
  EXPECT_EQ(Arrived("AddAlbum"), 1u);
  EXPECT_EQ(Arrived("UploadItems"), 1u);
  const fs::path locks = folder_ / "home/.local/state/kelo/locks";
  EXPECT_EQ(fs::status(locks).permissions(), fs::perms::owner_all);
}

TEST_F(LockTest, NoRunIsHeldUpByOneThatIsNoMoreOrByAFolderWithoutLocks) {
  KeloProcess dying(PutNew(), Environment());
  ASSERT_TRUE(WaitFor("UploadItems"));
  EXPECT_EQ(MakeAlbum("A"), 4);
  dying.Signal(SIGKILL);
  dying.Wait();
  EXPECT_EQ(MakeAlbum("A"), 0);
  const fs::path locks = folder_ / "home/.local/state/kelo/locks";
  for (const auto& lock : std::vector<fs::directory_entry>{fs::directory_iterator(locks), {}}) {
    fs::remove(lock);
    fs::create_directory(lock);
  }
  const Outcome without = Kelo("mkalbum B");
  EXPECT_EQ(without.exitCode, 0);
  EXPECT_THAT(without.err,
              AllOf(StartsWith("cannot lock "), HasSubstr("; another run may change")));
}

}  // namespace
}  // namespace kelo::host::testing
