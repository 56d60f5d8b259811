// Several transfers at a time: more of them change nothing but the time.
#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <future>
#include <set>

#include "HostTest.h"
#include "devservice/http/RequestRecord.h"

namespace kelo::host::testing {
namespace {

constexpr const char* kNumbers[] = {"1", "4"};

std::vector<ScriptedItem> Pictures(int count) {
  std::vector<ScriptedItem> items;
  for (int at = 0; at < count; ++at) items.push_back({std::to_string(at) + ".jpg"});
  return items;
}

TEST_F(GetTest, SeveralAtATimeTellWhatOneTells) {
  std::atomic<bool> waits = false;
  std::promise<void> fourth;
  const auto asked = fourth.get_future().share();
  ScriptAccount(Pictures(12), [&](const std::string& id) {
    if (waits && id == "item3") fourth.set_value();
    if (waits && id == "item0") asked.wait();  // so the first is over last
    return Reply{.status = id == "item5" ? 404 : 200, .body = Repeated(id, 1000)};
  });
  std::set<std::string> told;
  std::set<std::map<std::string, std::string>> trees;
  for (const char* transfers : kNumbers) {
    waits = std::string_view(transfers) == "4";
    fs::remove_all(Out());
    const Outcome get = Get({"root", "--json", "--quiet", "--transfers", transfers});
    EXPECT_EQ(get.exitCode, 1);
    EXPECT_THAT(get.err, HasSubstr("5.jpg: "));
    told.insert(get.out + get.err);
    trees.insert(Contents());
  }
  EXPECT_EQ(told.size(), 1u) << ::testing::PrintToString(told);
  EXPECT_EQ(trees.size(), 1u);
  EXPECT_EQ(trees.begin()->size(), 11u);
}

// Of those that were under way, more fail than would have failed one by one.
TEST_F(GetTest, SeveralThatFailTellWhatOneTells) {
  std::set<std::string> told;
  for (int at = 0; at < 12; ++at)
    for (const char* kind : {"jpg", "wav"}) Write(fmt::format("in/{}.{}", at, kind), "x");
  for (const Words& command : {Words{"put", In()}, Words{"get", "root", "--to", Out()}}) {
    for (const char* transfers : kNumbers) {
      ScriptAccount(Pictures(12), [&](const std::string&) { return Reply{.status = 500}; });
      if (command.front() == "put") AnswerWith(Refusal(999), "UploadItems");
      const Words rest{"--json", "--quiet", "--retries", "0", "--transfers", transfers};
      const Outcome outcome = Kelo(command + rest);
      EXPECT_EQ(outcome.exitCode, 1);
      told.insert(outcome.out + outcome.err);
    }
    EXPECT_EQ(told.size(), command.front() == "put" ? 1u : 2u) << ::testing::PrintToString(told);
  }
}

// Albums and folders, memos with their pictures, copies, lookalikes, a file that cannot go. Large
// ones, of which several lanes make several requests, and one in their midst that is there already.
TEST_F(PutTest, SeveralAtATimeMakeTheSameAccount) {
  for (const char* album : {"a", "b", "c", "Trip/d", "Trip/e"})
    for (int at = 0; at < 3; ++at) {
      const std::string name = fmt::format("in/{}/{}", album, at);
      Write(name + ".jpg", "the picture " + name);
      if (at == 1) Write(name + ".wav", "its memo");
    }
  for (const char* name : {"in/copy/same.jpg", "in/copy2/same.jpg"}) Write(name, "same");
  Write("in/lookalike/same.jpg", "SAME");
  Write("in/a/empty.jpg", "");
  for (const char* name : {"in/a/0.jpg", "in/a/3.jpg", "in/a/4.jpg"})
    fs::resize_file(Write(name, name), 2 << 20);
  for (const auto& entry : fs::recursive_directory_iterator(In()))
    fs::last_write_time(entry, fs::file_time_type());
  std::set<std::vector<nlohmann::json>> told;
  std::set<Words> accounts;
  for (const char* transfers : kNumbers) {
    devservice::Service service;
    service.SetScript([&, uploads = std::make_shared<std::atomic<int>>()](const auto& request) {
      if (request.method == "UploadItems" && ++*uploads == 3) service.ExpireTokens();
      return std::optional<Reply>();
    });
    const Words environment = EnvironmentOf(service);
    ASSERT_EQ(Kelo("login --remember", environment).exitCode, 0);
    ASSERT_EQ(Kelo({"put", In() / "a/2.jpg"}, environment).exitCode, 0);
    const fs::path log = folder_ / ("log" + std::string(transfers));
    const Outcome put = Kelo({"put", In(), "--albums-from-folders", "--json", "--quiet",
                              "--transfers", transfers, "--log-file", log},
                             environment);
    EXPECT_EQ(put.exitCode, 3) << put.err;
    EXPECT_GE(CountOf(" UploadItems out=", ReadFile(log)), 3u) << "of all workers";
    auto objects = Objects(put.out);
    for (auto& object : objects) object.erase("id");  // counted by the service
    told.insert(objects);
    Words account;
    for (const auto& entry : Objects(Kelo("tree --items --json", environment).out))
      account.push_back(entry["path"]);
    std::sort(account.begin(), account.end());
    accounts.insert(account);
  }
  EXPECT_EQ(told.size(), 1u) << ::testing::PrintToString(told);
  EXPECT_EQ(accounts.size(), 1u) << ::testing::PrintToString(accounts);
  EXPECT_EQ(told.begin()->size(), 27u);
}

TEST_F(PutTest, ASessionThatCannotBeOpenedAgainEndsTheRun) {
  for (const char* name : {"a", "b", "c"})
    fs::resize_file(Write(std::string("in/") + name + ".jpg", name), 2 << 20);
  for (const char* transfers : kNumbers) {
    AnswerWith({}, "nothing");
    ASSERT_EQ(Kelo("login --remember").exitCode, 0);
    service_.ExpireTokens();
    AnswerWith(Refusal(101), "OpenSession");
    const Outcome put = Put({"--transfers", transfers});
    EXPECT_EQ(put.exitCode, 1);
    EXPECT_THAT(put.out, EndsWith("0 stored, 0 already there, 3 not stored\n"));
    EXPECT_THAT(put.err, AllOf(HasSubstr("3 files not sent: "), HasSubstr("(4116)"),
                               Not(HasSubstr("lost"))));
  }
}

// Each picture with a memo has a request of its own. Lanes that took their call ids as they come
// had every second upload refused; chance leaves a few of a hundred.
TEST_F(PutTest, LanesSeldomTakeTheSameCallId) {
  for (int at = 0; at < 40; ++at)
    for (const char* kind : {"jpg", "wav"}) Write(fmt::format("in/{}.{}", at, kind), "x");
  std::atomic<int> refused = 0;
  const devservice::Service service({.onRequest = [&](const devservice::RequestRecord& request) {
    refused += request.errorCode == 104 ? 1 : 0;
  }});
  ASSERT_EQ(Kelo("login", EnvironmentOf(service)).exitCode, 0);
  const Outcome put = Kelo({"put", In(), "--transfers", "8"}, EnvironmentOf(service));
  EXPECT_EQ(put.exitCode, 0) << put.err;
  EXPECT_LT(refused, 40);
}

// The workers of the kelo that this test runs: children of its child.
std::vector<pid_t> Workers() {
  std::vector<pid_t> generation{::getpid()};
  for (int depth = 0; depth < 3; ++depth) {
    std::vector<pid_t> children;
    for (const pid_t parent : generation)
      for (const auto& task : fs::directory_iterator(fmt::format("/proc/{}/task", parent))) {
        std::ifstream list(task.path() / "children");
        for (pid_t child; list >> child;) children.push_back(child);
      }
    generation = children;
  }
  return generation;
}

TEST_F(GetTest, AWorkerThatDiesCostsOneMoreTry) {
  std::atomic<size_t> killed = 0;
  ScriptAccount(Pictures(9), [&](const std::string& id) {
    if (id == "item2" && killed == 0)
      for (const pid_t worker : Workers()) killed += ::kill(worker, SIGKILL) == 0 ? 1 : 0;
    return Reply{.body = Repeated(id, 1000)};
  });
  const Outcome get = Get("root");
  EXPECT_EQ(get.exitCode, 0) << get.err;
  EXPECT_GT(killed, 0u);
  EXPECT_THAT(get.out, EndsWith("9 downloaded, 0 already here\n"));
  EXPECT_EQ(Names("out").size(), 9u);
}

// Of new files, whose upload may have arrived; of edited ones, whose check has only begun; and of
// both in one request, of which the service is sent the new ones first.
TEST_F(PutTest, WorkersThatDieLoseNothingAndSendNothingTwice) {
  std::atomic<const char*> strikes = "";
  std::atomic<size_t> killed = 0;
  service_.SetScript([&](const ClientRequest& request) -> std::optional<Reply> {
    if (request.method == strikes.load() && killed == 0)
      for (const pid_t worker : Workers()) killed += ::kill(worker, SIGKILL) == 0 ? 1 : 0;
    return std::nullopt;
  });
  struct Round {
    const char* method;
    const char* content;
    size_t added;  // files of each album
  };
  size_t files = 0;
  size_t entries = 4;  // the albums
  for (const auto& [method, content, added] : {Round{"UploadItems", "new", 1},
                                               {"CheckUploadItems", "old", 0},
                                               {"UploadItems", "odd", 1}}) {
    files += 3 * added;
    for (const char* album : {"a", "b", "c"})
      for (size_t at = 0; at < files / 3; ++at)
        Set(fmt::format("{0}/{0}{1}.jpg", album, at), content);
    strikes = method;
    killed = 0;
    const Outcome put = Put("--albums-from-folders --transfers 3");
    EXPECT_GT(killed, 0u);
    EXPECT_THAT(put.out,
                EndsWith(fmt::format("\n{} stored, 0 already there, 0 not stored\n", files)))
        << put.err;
    EXPECT_EQ(Account().size(), entries += files);
    EXPECT_THAT(Put("--albums-from-folders").out,
                EndsWith(fmt::format("\n0 stored, {} already there, 0 not stored\n", files)));
  }
}

// After a request of any number. All workers have ended: they hold the output, which Wait reads to
// its end. The next run brings the rest.
TEST_F(GetTest, AnAbortEndsAllAtOnce) {
  struct Round {
    std::atomic<int> asked = 0;
    std::promise<void> reached;
    std::promise<void> goOn;
    std::shared_future<void> over = goOn.get_future().share();
  };
  for (const int last : {1, 2, 4, 7, 11}) {
    fs::remove_all(Out());
    const auto round = std::make_shared<Round>();  // a request of a dead worker may come late
    ScriptAccount(Pictures(12), [=](const std::string& id) {
      const int number = ++round->asked;
      if (number == last) round->reached.set_value();
      if (number >= last) round->over.wait();
      return Reply{.body = Repeated(id, 1000)};
    });
    KeloProcess get(Words{"get", "root", "--to", Out().string()}, Environment());
    round->reached.get_future().wait();
    get.Signal(SIGINT);
    const Outcome outcome = get.Wait();
    round->goOn.set_value();
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_THAT(outcome.err, HasSubstr("kelo: aborted: "));
    EXPECT_LT(Contents().size(), 12u);
    for (const bool again : {false, true}) {
      if (again) EXPECT_EQ(Get("root").exitCode, 0);
      for (const auto& [path, content] : Contents())
        EXPECT_EQ(content, Repeated("item" + path.substr(0, path.find('.')), 1000)) << path;
    }
    EXPECT_EQ(Contents().size(), 12u);
  }
}

}  // namespace
}  // namespace kelo::host::testing
