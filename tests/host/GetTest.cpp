// Downloads through the program.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <nlohmann/json.hpp>

#include "KeloProcess.h"
#include "host/Library.h"
#include "host/Records.h"
#include "host/StateFile.h"

namespace kelo::host::testing {
namespace {

namespace fs = std::filesystem;
using devservice::LoggedRequest;
using devservice::Reply;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

struct ScriptedItem {
  std::string name;  // as in the answer
  std::string modifyDate = "2024-05-17T10:11:13Z";
  std::string uploadDate = {};
  std::string format = "image/jpeg";
};

class GetTest : public HostTest {
 protected:
  GetTest() { LogIn(); }

  // An account whose root album holds these items, "item0" and on; `original` answers for each.
  void ScriptAccount(const std::vector<ScriptedItem>& items,
                     const std::function<Reply(const std::string& id)>& original) {
    std::string elements;
    for (std::size_t at = 0; at < items.size(); ++at) {
      const std::string id = "item" + std::to_string(at);
      elements += "<item itemId=\"" + id + "\" fileName=\"" + items[at].name + "\" fileFormat=\"" +
                  items[at].format + "\" modifyDate=\"" + items[at].modifyDate +
                  "\" uploadDate=\"" + items[at].uploadDate + "\" origUrl=\"" + service_.Url() +
                  "/original/" + id + "\"/>";
    }
    service_.SetScript([=](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.path.starts_with("/original/"))
        return original(request.path.substr(request.path.rfind('/') + 1));
      if (request.apiMethod == "GetUserArchiveInfo")
        return Reply{.body = "<a stat=\"ok\" totalCount=\"9\"/>"};
      if (request.apiMethod == "GetHierarchy")
        return Reply{.body = "<a stat=\"ok\"/><rootAlbum>" + elements + "</rootAlbum>"};
      return std::nullopt;
    });
  }

  Outcome Get(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "get");
    arguments.insert(arguments.end(), {"--to", Out().string()});
    return Kelo(arguments);
  }

  fs::path Out() const { return folder_ / "out"; }

  // Originals asked for since the log was cleared.
  std::size_t Fetched() const {
    const auto log = service_.Log();
    return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [](const auto& request) {
      return request.path.find("/original/") != std::string::npos;
    }));
  }

  // Relative paths of all files below a folder, with what they hold and their modify dates.
  using Tree = std::map<std::string, std::pair<std::string, std::time_t>>;
  static Tree TreeOf(const fs::path& folder) {
    Tree tree;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
      if (entry.is_regular_file())
        tree[fs::relative(entry.path(), folder).string()] = {ReadFile(entry.path()),
                                                             ModifyTime(entry.path())};
    return tree;
  }
  std::vector<std::string> PathsInOut() const {
    std::vector<std::string> paths;
    for (const auto& [path, what] : TreeOf(Out())) paths.push_back(path);
    return paths;
  }

  static std::time_t ModifyTime(const fs::path& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mtime;
  }
  static void SetModifyTime(const fs::path& path, std::time_t time) {
    const timespec times[] = {{0, UTIME_OMIT}, {time, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
  }
};

constexpr std::time_t kScriptedDate = 1715940673;  // 2024-05-17T10:11:13Z

TEST_F(GetTest, UpDownAndUpAgainNothingIsLostAndNothingTravelsTwice) {
  const std::string shared(70'000, 's');
  const std::pair<std::string, std::string> files[] = {
      {"top.jpg", "top"},
      {"Journeys/Lis\"bon/it's \"a\" b  c.jpg", std::string("\0\xFF\r\n--BOUNDARY--", 16)},
      {"Journeys/Lis\"bon/桜の庭.jpg", shared},
      {"Journeys/Lis\"bon/🐨 & <koala>.JPG", std::string(999, 'k')},
      {"Journeys/Lis\"bon/" + std::string(56, 'n') + ".jpg", "60 characters"},
      {"Journeys/Lis\"bon/" + std::string(251, 'n') + ".jpg", "255 characters"},
      {"Porto/same.jpg", "lower case"},
      {"Porto/Same.jpg", "upper case"},
      {"Porto/content of another.jpg", shared},
  };
  std::time_t date = 981173107;
  for (const auto& [name, content] : files)
    SetModifyTime(Write("in/" + name, content), date += 86399);
  ASSERT_EQ(Kelo({"mkdir", "Journeys"}).exitCode, 0);
  ASSERT_EQ(Kelo({"mkalbum", "Lis\"bon", "--folder", "Journeys"}).exitCode, 0);
  ASSERT_EQ(Kelo({"mkalbum", "Porto"}).exitCode, 0);
  const auto put = [&](const std::string& from) {
    for (const auto& [path, album] :
         {std::pair("top.jpg", "root"), {"Journeys/Lis\"bon", "Lis\"bon"}, {"Porto", "Porto"}}) {
      const Outcome outcome = Kelo({"put", (folder_ / from / path).string(), "--album", album});
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    }
    return Arrived("UploadItems");
  };
  const std::size_t sent = put("in");
  EXPECT_EQ(put("in"), sent);
  const Outcome get = Get({"--all"});
  EXPECT_EQ(get.exitCode, 0) << get.err;
  EXPECT_THAT(get.out, EndsWith("9 downloaded, 0 already here\n"));
  EXPECT_EQ(TreeOf(Out()), TreeOf(folder_ / "in"));
  EXPECT_EQ(put("out"), sent);
  const std::size_t fetched = Fetched();
  const Outcome again = Get({"--all"});
  EXPECT_EQ(again.exitCode, 0) << again.err;
  EXPECT_EQ(again.out, "0 downloaded, 9 already here\n");
  EXPECT_EQ(Fetched(), fetched);
}

TEST_F(GetTest, FindsWhatItIsToldAndPutsItWhereItIsInTheAccount) {
  for (const char* name : {"in/top.jpg", "in/Journeys/Lisbon/a.jpg", "in/Journeys/Porto/b.jpg",
                           "in/Party/c.jpg", "Anna's garden/d.jpg"})
    Write(name, name);
  service_.Import(folder_ / "in");
  service_.ImportFriend(folder_ / "Anna's garden");
  const Outcome listed = Get({"--all", "--dry-run", "--json"});
  std::map<std::string, std::string> ids;
  std::istringstream lines(listed.out);
  for (std::string line; std::getline(lines, line);) {
    const auto object = nlohmann::json::parse(line);
    EXPECT_EQ(object["outcome"], "wouldStore");
    EXPECT_THAT(object["path"].get<std::string>(), EndsWith(object["name"].get<std::string>()));
    ids[object["name"]] = object["id"];
  }
  EXPECT_FALSE(fs::exists(Out()));
  EXPECT_EQ(Fetched(), 0u);

  const std::string lisbon = "Journeys/Lisbon/a.jpg";
  const std::string porto = "Journeys/Porto/b.jpg";
  const std::string party = "Party/c.jpg";
  const std::string theirs = "Friends' albums/Anna's garden/d.jpg";
  struct Case {
    std::vector<std::string> arguments;
    std::vector<std::string> paths;
  };
  const Case cases[] = {
      {{ids["a.jpg"], ids["c.jpg"], ids["a.jpg"]}, {"a.jpg", "c.jpg"}},
      {{"Lisbon"}, {"a.jpg"}},
      {{"--album", "Lisbon"}, {"a.jpg"}},
      {{"journeys/LISBON"}, {"a.jpg"}},
      {{"Journeys/Lisbon/a.jpg"}, {"a.jpg"}},
      {{"root"}, {"top.jpg"}},
      {{"Anna's garden"}, {"d.jpg"}},
      {{"Journeys"}, {lisbon, porto}},
      {{"Journeys", "Lisbon", ids["c.jpg"]}, {lisbon, porto, "c.jpg"}},
      {{"Lisbon", "Anna's garden", "root"}, {theirs, lisbon, "top.jpg"}},
      {{"--all"}, {theirs, lisbon, porto, party, "top.jpg"}},
  };
  for (const Case& one : cases) {
    fs::remove_all(Out());
    const Outcome get = Get(one.arguments);
    EXPECT_EQ(get.exitCode, 0) << get.err;
    EXPECT_EQ(PathsInOut(), one.paths) << ::testing::PrintToString(one.arguments);
  }
  // An album that got a namesake keeps its folder.
  ASSERT_EQ(Kelo({"mkalbum", "Party", "--force"}).exitCode, 0);
  EXPECT_THAT(Get({"--all"}).out, EndsWith("0 downloaded, 5 already here\n"));
  // What the service imported is known to it by the date that the file got.
  const Outcome put = Kelo({"put", (Out() / "Journeys").string(), (Out() / "top.jpg").string()});
  EXPECT_EQ(put.exitCode, 0) << put.err;
  EXPECT_EQ(Arrived("UploadItems"), 0u);

  for (const auto& arguments : {std::vector<std::string>{}, {"--all", "Lisbon"}})
    EXPECT_EQ(Get(arguments).exitCode, 2) << arguments.size();
}

TEST_F(GetTest, LeavesAloneWhatIsHereAndReplacesItInOneStep) {
  struct Case {
    std::string is;                   // what is there
    std::time_t date = 0;             // its modify date
    std::vector<std::string> option;  // of get
    int status = 200;                 // of the original
    std::string then;                 // what is there afterwards
    std::string told;                 // the line at the end
  };
  constexpr const char* kHere = "0 downloaded, 1 already here\n";
  constexpr const char* kStored = "1 downloaded, 0 already here\n";
  constexpr const char* kFailed = "0 downloaded, 0 already here, 1 failed\n";
  const Case cases[] = {
      {"", 0, {}, 200, "new", kStored},
      {"old", kScriptedDate, {}, 200, "old", kHere},
      {"old", kScriptedDate - 1, {}, 200, "old", kHere},
      {"old", kScriptedDate + 3600, {}, 200, "old", kFailed},
      {"old", kScriptedDate, {"--replace"}, 200, "new", kStored},
      {"old", kScriptedDate + 3600, {"--replace"}, 200, "new", kStored},
      {"", 0, {"--replace"}, 200, "new", kStored},
      {"old", kScriptedDate, {"--replace"}, 404, "old", kFailed},
  };
  const fs::path file = Out() / "a.jpg";
  for (const Case& one : cases) {
    fs::remove_all(Out());
    if (!one.is.empty()) SetModifyTime(Write("out/a.jpg", one.is), one.date);
    ScriptAccount({{"a.jpg"}}, [&](const std::string&) {
      EXPECT_EQ(ReadFile(file), one.is);
      return Reply{.status = one.status, .body = "new"};
    });
    std::vector<std::string> arguments = {"item0"};
    arguments.insert(arguments.end(), one.option.begin(), one.option.end());
    const Outcome get = Get(arguments);
    EXPECT_THAT(get.out, EndsWith(one.told)) << get.err;
    EXPECT_EQ(get.exitCode, one.told == kFailed ? 1 : 0);
    EXPECT_EQ(ReadFile(file), one.then) << one.told;
    EXPECT_THAT(Names("out"), ElementsAre("a.jpg"));
    if (one.then == "new") EXPECT_EQ(ModifyTime(file), kScriptedDate);
  }
  // Nothing but a file is a file of ours, and no folder goes for one.
  fs::remove_all(Out());
  Write("out/a.jpg/within", "x");
  for (const auto& arguments : {std::vector<std::string>{"item0"}, {"item0", "--replace"}})
    EXPECT_EQ(Get(arguments).exitCode, 1);
  EXPECT_THAT(Names("out"), ElementsAre("a.jpg"));
}

TEST_F(GetTest, HostileNamesNeitherLeaveTheFolderNorReachTheTerminal) {
  ScriptAccount({{"../../evil.jpg"},
                 {"/etc/evil"},
                 {".."},
                 {".bashrc"},
                 {"a&#27;[31mred.jpg"},
                 {"line&#13;&#10;break.jpg"},
                 {""},
                 {"back\\slash"}},
                [](const std::string&) { return Reply{.body = "x"}; });
  const Outcome get = Get({"root"});
  EXPECT_EQ(get.exitCode, 0) << get.err;
  EXPECT_THAT(Names("out"), ElementsAre("_.", "_._.._evil.jpg", "_bashrc", "_etc_evil",
                                        "a_[31mred.jpg", "back_slash", "item6", "line__break.jpg"));
  EXPECT_THAT(Names("."), ElementsAre("home", "out"));
  for (const auto& command :
       {std::vector<std::string>{"tree", "--items"}, {"ls", "root"}, {"info", "item4"}}) {
    const Outcome shown = Kelo(command);
    EXPECT_EQ(shown.exitCode, 0) << shown.err;
    EXPECT_THAT(shown.out + get.out + get.err,
                Not(::testing::ContainsRegex("[\x01-\x09\x0B-\x1F]")))
        << command[0];
  }
}

TEST_F(GetTest, NamesThatFallTogetherStayFilesAndKeepTheirNumbers) {
  // What is left of a name that filled its field of 255 bytes.
  const auto cut = [](const std::string& end, const std::string& text) {
    return std::string(255 - end.size(), 'n') + text;
  };
  std::vector<ScriptedItem> items = {
      {"same.jpg", "2024-05-17T10:11:13Z", "2024-06-01"},
      {"same.jpg", "2024-05-18T10:11:13Z", "2024-06-02"},
      {"same.jpg", "2024-05-20T10:11:13Z", "2024-06-03"},
      {"same (2).jpg", "2024-05-18 10:11:13", "2024-06-04"},
      {"caf&#233;.jpg", "2024:05:18 10:11:13", "2024-06-01"},
      {"cafe&#769;.jpg", "", "2024-06-02"},
      {"caf\xC3\xA9.jpg", "2024-05-18T12:11:13+02:00", "2024-06-03"},
      {cut("&#26716", "&#26716"), "2024-05-18T10:11:13.5Z", "2024-06-01"},
      {cut("&#55357;&#563", "&#55357;&#563"), "", "2024-06-02"},
      {cut("&#26716;.JPE", "&#26716;.JPE"), "", "2024-06-01"},
      {cut("&#246;.j", "&#246;.j"), "", "2024-06-01", "image/tiff"},
  };
  const auto original = [](const std::string& id) { return Reply{.body = id}; };
  ScriptAccount(items, original);
  EXPECT_EQ(Get({"root"}).exitCode, 0);
  const std::map<std::string, std::string> expected = {
      {"same.jpg", "item0"},
      {"same (3).jpg", "item1"},
      {"same (4).jpg", "item2"},
      {"same (2).jpg", "item3"},
      {"caf\xC3\xA9.jpg", "item4"},
      {"caf\xC3\xA9 (2).jpg", "item5"},
      {"caf\xC3\xA9 (3).jpg", "item6"},
      {cut("&#26716", ".jpg"), "item7"},
      {cut("&#55357;&#563", ".jpg"), "item8"},
      {cut("&#26716;.JPE", "桜.JPE"), "item9"},
      {cut("&#246;.j", "ö.j.tif"), "item10"},
  };
  const auto contents = [&] {
    std::map<std::string, std::string> all;
    for (const auto& [path, file] : TreeOf(Out())) all[path] = file.first;
    return all;
  };
  EXPECT_EQ(contents(), expected);
  EXPECT_EQ(ModifyTime(Out() / cut("&#26716", ".jpg")), ModifyTime(Out() / "caf\xC3\xA9 (3).jpg"));

  // One that came first in the account after the others doesn't move them, nor does one that went.
  service_.ClearLog();
  items[0] = {"same.jpg", "2024-05-19T10:11:13Z", "2024-05-01"};
  ScriptAccount(items, original);
  EXPECT_THAT(Get({"root"}).out, EndsWith("0 downloaded, 10 already here, 1 failed\n"));
  fs::remove(Out() / "same.jpg");
  EXPECT_THAT(Get({"root"}).out, EndsWith("1 downloaded, 10 already here\n"));
  EXPECT_EQ(contents(), expected);
  EXPECT_EQ(Fetched(), 1u);
}

// A hard link under another spelling is what a file system that doesn't count case shows.
TEST_F(GetTest, TwoNamesOfOneFileAreSeenAsSuch) {
  ScriptAccount({{"Same.jpg"}, {"same.jpg"}}, [&](const std::string& id) {
    if (id == "item1") fs::create_hard_link(Out() / "Same.jpg", Out() / "same.jpg");
    return Reply{.body = id};
  });
  for (const char* told : {"2 downloaded, 0 already here\n", "0 downloaded, 2 already here\n"}) {
    const Outcome get = Get({"root"});
    EXPECT_THAT(get.out, EndsWith(told)) << get.err;
    EXPECT_EQ(ReadFile(Out() / "Same.jpg"), "item0");
    EXPECT_EQ(ReadFile(Out() / "same (2).jpg"), "item1");
  }
  fs::remove(Out() / "same.jpg");
  EXPECT_THAT(Get({"root", "--replace"}).out, EndsWith("2 downloaded, 0 already here\n"));
  EXPECT_EQ(ReadFile(Out() / "Same.jpg"), "item0");
}

TEST_F(GetTest, AFailureCostsItsFileAndManyInARowTheRest) {
  std::vector<ScriptedItem> items;
  for (int i = 0; i < 6; ++i) items.push_back({std::to_string(i) + ".jpg"});
  struct Case {
    std::string failing;  // digits of the items
    int status;
    std::string told;
  };
  const Case cases[] = {
      {"1", 500, "5 downloaded, 0 already here, 1 failed\n"},
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
    const Outcome get = Get({"root"});
    EXPECT_EQ(get.exitCode, 1);
    EXPECT_THAT(get.out, EndsWith(one.told));
    EXPECT_THAT(get.err,
                AllOf(HasSubstr("1.jpg: "), HasSubstr(one.status == 404 ? "(4098)" : "(4114)")));
  }
}

TEST_F(GetTest, ALostConnectionCostsOnlyTheFileThatMoved) {
  std::map<std::string, int> asked;
  ScriptAccount({{"0.jpg"}, {"1.jpg"}, {"2.jpg"}}, [&](const std::string& id) {
    const bool lost = ++asked[id] == 1 && id == "item1";
    return Reply{.body = "whole", .cutAfter = lost ? std::optional<std::size_t>(2) : std::nullopt};
  });
  EXPECT_THAT(Get({"root", "--retries", "0"}).out,
              EndsWith("2 downloaded, 0 already here, 1 failed\n"));
  EXPECT_THAT(Names("out"), ElementsAre("0.jpg", "2.jpg"));
  asked.clear();
  fs::remove_all(Out());
  EXPECT_THAT(Get({"root"}).out, EndsWith("3 downloaded, 0 already here\n"));
  EXPECT_EQ(asked, (std::map<std::string, int>{{"item0", 1}, {"item1", 2}, {"item2", 1}}));
  EXPECT_EQ(ReadFile(Out() / "1.jpg"), "whole");
}

// Other hosts tell when a file was made; a file that was fetched was made just now.
TEST_F(GetTest, PutFindsWhatAnotherHostStoredAndGetFetched) {
  const std::string path = Write("in/a.jpg", "picture");
  {
    StateFile(folder_ / "other").TryUrl(service_.Url());
    Output out;
    Library other(out, {});
    other.OpenSession({service_.ApiKey(), service_.AuthToken(), service_.Secret()});
    std::vector<tagKELO_LoadInfo> files(1);
    files[0].filePath = LentText(path);
    files[0].fileSize = 7;
    CopyText(files[0].fileModifyDate, "2024-05-17T10:11:13Z");
    CopyText(files[0].fileCreateDate, "2024-05-16T10:11:13Z");
    ASSERT_EQ(other.Upload("", files, false), 0u);
  }
  EXPECT_THAT(Get({"--all"}).out, EndsWith("1 downloaded, 0 already here\n"));
  const Outcome put = Kelo({"put", Out().string()});
  EXPECT_EQ(put.exitCode, 0) << put.err;
  EXPECT_EQ(Arrived("UploadItems"), 1u);
}

TEST_F(GetTest, RemovesWhatKilledRunsLeft) {
  const pid_t dead = ::fork();
  if (dead == 0) ::_exit(0);
  ::waitpid(dead, nullptr, 0);
  const std::string alive = ".kelo-get-" + std::to_string(::getpid());
  for (const std::string& name :
       {".kelo-get-" + std::to_string(dead), alive, std::string(".kelo-get-mine")})
    Write("out/" + name, "part");
  ScriptAccount({{"a.jpg"}}, [](const std::string&) { return Reply{.body = "x"}; });
  EXPECT_EQ(Get({"root"}).exitCode, 0);
  EXPECT_THAT(Names("out"), UnorderedElementsAre(alive, ".kelo-get-mine", "a.jpg"));
}

TEST_F(GetTest, CtrlCLeavesWhatIsWholeAndNothingElse) {
  ScriptAccount({{"1 quick.jpg"}, {"2 slow.jpg"}, {"3 never.jpg"}}, [](const std::string& id) {
    if (id == "item0") return Reply{.body = "quick"};
    return Reply{.body = std::string(1 << 20, 'x'),
                 .chunkSize = 1024,
                 .chunkDelay = std::chrono::milliseconds(100)};
  });
  KeloProcess kelo({"get", "root", "--to", Out().string()}, Environment());
  ASSERT_TRUE(service_.WaitForRequest(
      [](const LoggedRequest& request) { return request.path == "/original/item1"; }));
  kelo.Signal(SIGINT);
  const Outcome outcome = kelo.Wait();
  EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
  EXPECT_THAT(outcome.err, EndsWith("kelo: aborted: 1 of 3 stored\n"));
  EXPECT_THAT(Names("out"), ElementsAre("1 quick.jpg"));
}

}  // namespace
}  // namespace kelo::host::testing
