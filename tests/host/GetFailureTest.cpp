// What failures, killed runs and other hosts leave to a download.
#include <fmt/format.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <future>

#include "HostTest.h"
#include "host/download/Fetch.h"
#include "host/library/Library.h"
#include "host/library/StateFile.h"

namespace {

thread_local int syncError = 0;  // with which this thread's files fail to reach the disk

}  // namespace

int fsync(int file) {
  errno = syncError;
  return syncError == 0 ? static_cast<int>(syscall(SYS_fsync, file)) : -1;
}

namespace kelo::host::testing {
namespace {

TEST_F(GetTest, AFailureCostsItsFileAndManyInARowTheRest) {
  std::vector<ScriptedItem> items;
  for (int i = 0; i < 6; ++i) items.push_back({std::to_string(i) + ".jpg"});
  struct Case {
    std::string failing;  // digits of the items
    int status;
    std::string told;
  };
  const Case cases[] = {
      {"1245", 500, "2 downloaded, 0 already here, 4 failed\n"},
      {"123", 500, "1 downloaded, 0 already here, 3 failed, 2 not tried\n"},
      {"123", 404, "3 downloaded, 0 already here, 3 failed\n"},
  };
  for (const Case& one : cases) {
    fs::remove_all(Out());
    ScriptAccount(items, [&](const std::string& id) {
      const bool fails = one.failing.find(id.back()) != std::string::npos;
      return Reply{.status = fails ? one.status : 200, .body = "x"};
    });
    const Outcome get = Get("root --transfers 1");
    EXPECT_EQ(get.exitCode, 1);
    EXPECT_THAT(get.out, EndsWith(one.told));
    EXPECT_THAT(get.err,
                AllOf(HasSubstr("1.jpg: "), HasSubstr(one.status == 404 ? "(4098)" : "(4114)")));
  }
  EXPECT_EQ(Objects(Get("root --json").out).at(1)["error"]["code"], 4098);
  fs::remove_all(Out());
  ScriptAccount({{"0.jpg"}}, [](const auto&) {
    return Reply{.body =
                     "<?xml version=\"1.1\"?>\r\n<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n"};
  });
  EXPECT_THAT(Get("root").err, HasSubstr("0.jpg: the service sent a message instead of the file"));
  EXPECT_THAT(Names("out"), ElementsAre());
}

// "In a row" is in the order of the plan, whichever file is over first.
TEST_F(GetTest, FailuresAreInARowInTheOrderOfThePlan) {
  std::promise<void> last;
  const auto asked = last.get_future().share();
  ScriptAccount({{"0.jpg"}, {"1.jpg"}, {"2.jpg"}, {"3.jpg"}, {"4.jpg"}, {"5.jpg"}, {"6.jpg"}},
                [&](const std::string& id) {
                  const int number = id.back() - '0';
                  if (number == 6) last.set_value();
                  if (number % 2 == 0) asked.wait_for(std::chrono::seconds(5));
                  return Reply{.status = number % 2 == 0 ? 200 : 500, .body = "x"};
                });
  EXPECT_THAT(Get("root --transfers 4").out, EndsWith("4 downloaded, 0 already here, 3 failed\n"));
}

TEST_F(GetTest, ALostConnectionCostsOnlyTheFileThatMoved) {
  std::atomic<int> asked[4]{};
  ScriptAccount({{"0.jpg"}, {"1.jpg"}, {"2.jpg"}, {"3.jpg"}}, [&](const std::string& id) {
    const size_t at = static_cast<size_t>(id.back() - '0');
    const bool lost = ++asked[at] == 1 && at % 2 == 1;
    return Reply{.body = "whole", .cutAfter = lost ? std::optional<size_t>(2) : std::nullopt};
  });
  EXPECT_THAT(Get("root --retries 0").out, EndsWith("2 downloaded, 0 already here, 2 failed\n"));
  EXPECT_THAT(Names("out"), ElementsAre("0.jpg", "2.jpg"));
  for (auto& count : asked) count = 0;
  fs::remove_all(Out());
  const Outcome again = Get("root --retries 1 --quiet");  // one for each file
  EXPECT_EQ(again.exitCode, 0);
  EXPECT_EQ(again.err, "");  // a quiet run does not tell that it tries again
  for (int at = 0; at < 4; ++at) {
    EXPECT_EQ(asked[at], 1 + at % 2) << at;
    EXPECT_EQ(ReadFile(Out() / fmt::format("{}.jpg", at)), "whole");
  }
}

TEST_F(GetTest, AFileThatDoesNotReachTheDiskIsNotHere) {
  ScriptAccount({{"a.jpg"}}, [](const std::string&) { return Reply{.body = "x"}; });
  UseServer(service_.Url());
  Output out;
  Library library(out, {});
  library.Open({service_.ApiKey(), service_.AuthToken(), service_.Secret()});
  library.Load();
  const std::pair<int, std::uint32_t> cases[] = {{ENOSPC, kKELOResult_NoSpace},
                                                 {EDQUOT, kKELOResult_NoSpace},
                                                 {EIO, kKELOResult_DestinationUnusable},
                                                 {EINVAL, 0}};  // where nothing can be synced
  for (const auto& [error, code] : cases) {
    syncError = error;
    EXPECT_EQ(Fetch(library, library.List(kEverything, Kind::FileItem), Out()).at(0).code, code);
    syncError = 0;
    EXPECT_EQ(Names("out").size(), code == 0 ? 1u : 0u) << error;
  }
}

// Other hosts tell when a file was made, which was just now for a file that was fetched, and give
// names that no file may have.
TEST_F(GetTest, PutFindsWhatAnotherHostStoredAndGetFetched) {
  const std::string path = Write("in/a.jpg", "picture");
  const std::string names[] = {
      "a.jpg",       "e\x1B[2J.jpg",  "e\x1B[2J.jpg",       "b\\c.jpg",
      "x%20y/z.jpg", "x%2Fy.jpg",     "right\u202Egpj.jpg", "line\r\nbreak.jpg",
      "..",          "odd\uFFFD.jpg", "cafe\u0301.jpg"};
  {
    UseServer(service_.Url());
    Output out;
    Library other(out, {});
    other.Open({service_.ApiKey(), service_.AuthToken(), service_.Secret()});
    const std::string folder = other.AddFolder("Music/\x01");
    for (const std::string& album :
         {std::string(), other.AddAlbum("", "AC/DC"), other.AddAlbum(folder, ".\\hidden")}) {
      std::vector<UploadFile> files;
      for (const std::string& name : names)
        files.push_back({.path = path,
                         .name = name,
                         .modifyDate = fmt::format("2024-05-{}T10:11:13Z", 10 + files.size()),
                         .createDate = "2024-05-16T10:11:13Z"});
      for (const UploadedFile& file : other.Upload(album, files)) ASSERT_FALSE(file.error);
    }
  }
  const size_t albums = Arrived("AddAlbum") + Arrived("AddFolder");
  EXPECT_THAT(Get("--all").out, EndsWith("33 downloaded, 0 already here\n"));
  const Outcome put = Kelo({"put", Out().string(), "--albums-from-folders", "--all-files"});
  EXPECT_THAT(put.out, EndsWith("0 stored, 33 already there, 0 not stored\n")) << put.err;
  EXPECT_EQ(Arrived("UploadItems"), 3u);
  EXPECT_EQ(Arrived("AddAlbum") + Arrived("AddFolder"), albums);
}

TEST_F(GetTest, RunsInContainersShareAFolder) {
  std::vector<ScriptedItem> items;
  for (int i = 0; i < 150; ++i) items.push_back({std::to_string(i) + ".jpg"});
  ScriptAccount(items, [](const std::string& id) { return Reply{.body = "picture " + id}; });
  const Words command = {kContained, "get", "root", "--to", Out().string(), "--replace"};
  KeloProcess one(command, Environment());
  KeloProcess other(command, Environment());
  for (KeloProcess* kelo : {&one, &other}) {
    const Outcome outcome = kelo->Wait();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  }
  EXPECT_EQ(Names("out").size(), items.size());
  for (size_t at = 0; at < items.size(); ++at)
    EXPECT_EQ(ReadFile(Out() / items[at].name), "picture item" + std::to_string(at));
}

TEST_F(GetTest, RemovesWhatKilledRunsLeftAndNothingOfLivingOnes) {
  std::atomic<bool> slow = true;
  ScriptAccount({{"a.jpg"}, {"b.jpg"}}, [&](const std::string& id) {
    if (id == "item0" || !slow.exchange(false)) return Reply{.body = "x"};
    return Reply{.silent = true};
  });
  Write("out/.kelo-get-mine", "");
  KeloProcess kelo({kContained, "get", "root", "--transfers", "1", "--to", Out().string()},
                   Environment());
  ASSERT_TRUE(WaitFor("/original/item1"));
  const auto left = [this] {
    auto names = Names("out");
    std::erase_if(names, [](const auto& name) { return !name.starts_with(".kelo-get-"); });
    return names;
  };
  const auto living = left();
  ASSERT_EQ(living.size(), 2u);  // and a lock
  // The folder is made ready more than once in a run.
  EXPECT_EQ(Get("root --replace").exitCode, 0);
  EXPECT_EQ(left(), living);
  kelo.Signal(SIGKILL);
  kelo.Wait();
  Write("out/" + living[0].substr(0, living[0].rfind('.')), "part");
  EXPECT_EQ(Get("root --replace").exitCode, 0);
  EXPECT_THAT(Names("out"), ElementsAre(".kelo-get-mine", "a.jpg", "b.jpg"));
}

TEST_F(GetTest, FollowsNoLinkThatComesMeanwhile) {
  const std::string victim = Write("victim", "mine");
  SetModifyTime(victim, 1);
  fs::create_directory(folder_ / "elsewhere");
  ScriptAccount({{"a.jpg"}, {"b.jpg"}}, [&](const std::string& id) {
    if (id == "item0") {
      fs::create_symlink(victim, Out() / "a.jpg");
    } else {
      fs::rename(Out(), folder_ / "moved");
      fs::create_directory_symlink(folder_ / "elsewhere", Out());
    }
    return Reply{.body = id};
  });
  EXPECT_EQ(Get("root --transfers 1").exitCode, 1);
  EXPECT_EQ(ReadFile(victim), "mine");
  EXPECT_EQ(ModifyTime(victim), 1);
  EXPECT_THAT(Names("elsewhere"), ElementsAre());
  EXPECT_THAT(Names("moved"), ElementsAre("a.jpg", "b.jpg"));
  EXPECT_EQ(ReadFile(folder_ / "moved/b.jpg"), "item1");
}

TEST_F(GetTest, CtrlCLeavesWhatIsWholeAndNothingElse) {
  const Words names = {"0.jpg", "1.jpg", "2.jpg"};
  for (const size_t stored : {1u, 0u}) {
    fs::remove_all(Out());
    service_.ClearArrived();
    const std::string slow = "item" + std::to_string(stored);
    ScriptAccount({{names[0]}, {names[1]}, {names[2]}}, [slow](const std::string& id) {
      return Reply{.body = std::string(1 << 20, 'x'), .bytesPerSecond = id == slow ? 10'000u : 0};
    });
    std::signal(SIGHUP, SIG_IGN);  // as nohup does
    KeloProcess kelo({"get", "root", "--transfers", "1", "--to", Out().string()}, Environment());
    std::signal(SIGHUP, SIG_DFL);
    ASSERT_TRUE(WaitFor("/original/" + slow));
    kelo.Signal(SIGHUP);
    kelo.Signal(SIGINT);
    const Outcome outcome = kelo.Wait();
    EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
    EXPECT_THAT(outcome.err, EndsWith(fmt::format("kelo: aborted: {} of 3 downloaded\n", stored)));
    EXPECT_THAT(Names("out"), ::testing::ElementsAreArray(names.begin(), names.begin() + stored));
  }
}

}  // namespace
}  // namespace kelo::host::testing
