// Where downloads go, and what is left alone.
#include "HostTest.h"

#include <unistd.h>

namespace kelo::host::testing {
namespace {

constexpr std::time_t kScriptedDate = 1715940673;  // 2024-05-17T10:11:13Z

TEST_F(GetTest, FindsWhatItIsToldAndPutsItWhereItIsInTheAccount) {
  for (const char* name : {"in/top.jpg", "in/Journeys/Lisbon/a.jpg", "in/Journeys/Porto/b.jpg",
                           "in/Party/c.jpg", "Anna's garden/d.jpg"})
    Write(name, name);
  service_.Import(folder_ / "in");
  service_.ImportFriend(folder_ / "Anna's garden");
  const Outcome listed = Get({"--all", "--dry-run", "--json"});
  std::map<std::string, std::string> ids;
  for (const auto& object : Objects(listed.out)) {
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
  ScriptAccount({{"a.jpg"}}, [](const std::string&) { return Reply{.body = "new"}; });
  for (const auto& arguments : {std::vector<std::string>{"item0"}, {"item0", "--replace"}})
    EXPECT_EQ(Get(arguments).exitCode, 1);
  EXPECT_THAT(Names("out"), ElementsAre("a.jpg"));
}

TEST_F(GetTest, AFolderThatCannotBeLookedAtCostsOnlyItself) {
  for (const char* name : {"in/Circle/a.jpg", "in/Party/c.jpg"}) Write(name, name);
  service_.Import(folder_ / "in");
  fs::create_directory(Out());
  fs::create_symlink("Circle", Out() / "Circle");
  const Outcome get = Get({"--all"});
  EXPECT_EQ(get.exitCode, 1);
  EXPECT_THAT(get.out, EndsWith("1 downloaded, 0 already here, 1 failed\n"));
  EXPECT_THAT(get.err, HasSubstr("Circle/a.jpg: "));
  EXPECT_THAT(get.err, HasSubstr(" (4113)\n"));
}

TEST_F(GetTest, WhatComesMeanwhileIsLikeWhatWasThere) {
  for (const auto& [date, told] :
       {std::pair(kScriptedDate, "0 downloaded, 1 already here\n"),
        {kScriptedDate + 3600, "0 downloaded, 0 already here, 1 failed\n"}}) {
    fs::remove_all(Out());
    ScriptAccount({{"a.jpg"}}, [this, date = date](const std::string&) {
      SetModifyTime(Write("out/a.jpg", "another"), date);
      return Reply{.body = "new"};
    });
    const Outcome get = Get({"root"});
    EXPECT_THAT(get.out, EndsWith(told)) << get.err;
    EXPECT_THAT(get.err, Not(HasSubstr("(4113)")));
    EXPECT_EQ(ReadFile(Out() / "a.jpg"), "another");
    EXPECT_THAT(Names("out"), ElementsAre("a.jpg"));
  }
  if (::geteuid() == 0) return;  // who may write anywhere
  fs::permissions(Out(), fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_THAT(Get({"root", "--replace"}).err, HasSubstr("cannot write into the folder " +
                                                        Out().string() + ": Permission denied\n"));
  fs::permissions(Out(), fs::perms::owner_all);
}

}  // namespace
}  // namespace kelo::host::testing
