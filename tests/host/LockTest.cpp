// What happens when several runs want to change one account at once.
#include <atomic>
#include <csignal>
#include <future>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

class LockTest : public PutTest {
 protected:
  LockTest() {
    Write("in/a.jpg", "aaa");
    Write("in/b.jpg", "bbb");
    // The first upload lasts until the test lets it go on.
    service_.SetScript([goOn = goOn_.get_future().share(),
                        begun = std::make_shared<std::atomic<bool>>()](const auto& request) {
      if (request.apiMethod == "UploadItems" && !begun->exchange(true)) goOn.wait();
      return std::optional<Reply>();
    });
  }

  Words PutNew() const { return {kContained, "put", In(), "--album", "New"}; }
  bool UploadHasBegun() {
    return service_.WaitForRequest(
        [](const LoggedRequest& request) { return request.apiMethod == "UploadItems"; });
  }
  int MakeAlbum(const char* name) const { return Kelo({"mkalbum", name, "--no-wait"}).exitCode; }

  std::promise<void> goOn_;
};

const char* const kWaiting = "waiting for another run that changes this account: kelo put, since 2";

TEST_F(LockTest, OneRunAtATimeChangesAnAccount) {
  ASSERT_EQ(Kelo("login --profile again").exitCode, 0);
  KeloProcess first(PutNew(), Environment());
  ASSERT_TRUE(UploadHasBegun());
  const Words changing[] = {
      {"put", In()}, "mkdir x",  "mkalbum x --profile again", "rate x 1", "tag x x",
      "caption x x", "link x x", "mail x --to a@x.example"};
  for (const Words& command : changing) {
    const Outcome outcome = Kelo(command + "--no-wait");
    EXPECT_EQ(outcome.exitCode, 3) << command[0] << outcome.err;
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
  ASSERT_TRUE(UploadHasBegun());
  EXPECT_EQ(MakeAlbum("A"), 3);
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
