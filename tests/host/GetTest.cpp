// Where downloads go, under which names, and what is left alone.
#include <unistd.h>

#include <atomic>

#include "HostTest.h"
#include "host/download/PathGiver.h"

namespace {

std::atomic<size_t> asked = 0;  // questions to the file system

}  // namespace

int stat(const char* path, struct stat* status) noexcept {
  ++asked;
  return fstatat(AT_FDCWD, path, status, 0);
}

namespace kelo::host::testing {
namespace {

constexpr std::time_t kScriptedDate = 1715940673;  // 2024-05-17T10:11:13Z

TEST_F(GetTest, FindsWhatItIsToldAndPutsItWhereItIsInTheAccount) {
  for (const char* name : {"in/top.jpg", "in/Journeys/j.jpg", "in/Journeys/Lisbon/a.jpg",
                           "in/Journeys/Porto/b.jpg", "in/Party/c.jpg", "Anna's garden/d.jpg"})
    Write(name, name);
  service_.Import(folder_ / "in");
  service_.ImportFriend(folder_ / "Anna's garden");
  const Outcome listed = Get("--all --dry-run --json");
  std::map<std::string, std::string> ids;
  auto objects = Objects(listed.out);
  EXPECT_EQ(Summary(listed.out)["wouldStore"], 6);
  objects.pop_back();
  for (const auto& object : objects) {
    EXPECT_EQ(object["outcome"], "wouldStore");
    EXPECT_THAT(object["path"].get<std::string>(), EndsWith(object["name"].get<std::string>()));
    ids[object["name"]] = object["id"];
  }
  EXPECT_FALSE(fs::exists(Out()));
  EXPECT_EQ(Arrived("/original/"), 0u);

  const std::string loose = "Journeys/j.jpg";
  const std::string lisbon = "Journeys/Lisbon/a.jpg";
  const std::string porto = "Journeys/Porto/b.jpg";
  const std::string party = "Party/c.jpg";
  const std::string theirs = "Friends' albums/Anna's garden/d.jpg";
  struct Case {
    Words arguments;
    Words paths;
  };
  const Case cases[] = {
      {{ids["a.jpg"], ids["c.jpg"], ids["a.jpg"]}, {"a.jpg", "c.jpg"}},
      {{"Lisbon"}, {"a.jpg"}},
      {{"--album", "Lisbon"}, {"a.jpg"}},
      {{"root"}, {"top.jpg"}},
      {{"Anna's garden"}, {"d.jpg"}},
      {{"/Journeys"}, {lisbon, porto, loose}},
      {{"/Journeys", "Lisbon", ids["c.jpg"]}, {lisbon, porto, loose, "c.jpg"}},
      {{"Lisbon", "--files-from",
        Write("list",
              "\xEF\xBB\xBF"
              "Anna's garden\r\n\r\nroot")},
       {theirs, lisbon, "top.jpg"}},
      {{"--all"}, {theirs, lisbon, porto, loose, party, "top.jpg"}},
  };
  for (const Case& one : cases) {
    fs::remove_all(Out());
    const Outcome get = Get(one.arguments);
    EXPECT_EQ(get.exitCode, 0) << get.err;
    EXPECT_EQ(PathsInOut(), one.paths) << ::testing::PrintToString(one.arguments);
  }
  const auto again = Objects(Get("root nowhere --json").out);
  EXPECT_EQ(again.at(0)["outcome"], "notFound");
  EXPECT_EQ(again.at(1)["bytes"], std::string_view("in/top.jpg").size());
  EXPECT_EQ(again.at(2)["summary"], nlohmann::json::parse(R"({
    "stored": 0, "alreadyHere": 1, "failed": 0, "notTried": 0, "notFound": 1, "bytes": 0,
    "leftOut": 0, "leftOutBy": {"unreachable": 0, "byFilter": 0}, "exitCode": 1})"));
  // What the service imported is known to it by the date that the file got.
  const Outcome put =
      Kelo({"put", Out(), "--albums-from-folders", "--exclude", "Friends' albums/"});
  EXPECT_THAT(put.out, EndsWith("0 stored, 5 already there, 0 not stored\n")) << put.err;
  EXPECT_EQ(Arrived("UploadItems") + Arrived("AddAlbum") + Arrived("AddItemsToAlbum"), 0u);

  for (const char* wrong : {"", "--all Lisbon", "--all --files-from x", "--all --larger-than 1"})
    EXPECT_EQ(Get(wrong).exitCode, 2) << wrong;
}

// What is left out is no failure, and moves no other.
TEST_F(GetTest, OneFilterForBothWays) {
  const std::string trip =
      ItemOf("0", "same.jpg",
             R"(modifyDate="2025-05-17T10:11:13Z" shotDate="2024-05-18T00:00:00")"
             R"( origUrl="URL/original/longer")") +
      ItemOf("1", "same.jpg",
             R"(modifyDate="2023-05-17T10:11:13Z" uploadDate="x" origUrl="URL/original/short")");
  const std::string inOne =
      ItemOf("2", "a.nef", R"(uploadDate="2022-05-17 10:11:13" origUrl="URL/original/n")");
  TellAccount(
      "<folders>" + FolderOf("f", "Trip", AlbumOf("t", "Trip", trip) + AlbumOf("o", "One", inOne)) +
      "</folders><rootAlbum>" +
      ItemOf("3", "b.JPG", R"(modifyDate="2024-05-17T09:11:13Z" origUrl="URL/original/b")") +
      ItemOf("4", "c.jpg", R"(origUrl="URL/original/c")") + "</rootAlbum>");
  ASSERT_EQ(Get("--all").exitCode, 0);
  fs::rename(Out(), In());
  Write("in/b.wav", "a memo goes with its picture");
  const auto sent = [this](const Words& options) {
    Words paths;
    for (const auto& file :
         Objects(Kelo(Words{"put", In(), "--force", "--dry-run", "--json"} + options).out))
      if (file.contains("path"))  // the summary has none
        paths.push_back(fs::relative(file["path"].get<std::string>(), In()));
    return paths;
  };
  const std::string nef = "Trip/One/a.nef";
  const std::string same = "Trip/same.jpg";
  const std::string same2 = "Trip/same (2).jpg";
  const std::string b = "b.JPG";
  const std::string memo = "b.wav";
  const std::tuple<Words, Words, Words> cases[] = {
      {"--older-than 1h", {nef, same2, same, b}, {b, memo, same2, same}},
      {"--newer-than 3w", {}, {"c.jpg", nef}},
      {"--include {*.nef,b.{x,jpg}}", {nef, b}, {b, nef}},
      {"--exclude one --include Trip/", {same2, same}, {same2, same}},
      {"--include Trip/same.jpg", {same2, same}, {same}},
      {"--newer-than 2024", {same, b}, {b, memo, "c.jpg", same, nef}},
      {"--newer-than 2024-05 --older-than 2024-05-18", {b}, {b, memo}},
      {"--older-than 2024-05-17T09:11:13Z", {nef, same2}, {same2}},
      {"--older-than 2024-05-17T09:11:14Z", {nef, same2, b}, {b, memo, same2}},
  };
  for (const auto& [options, got, stored] : cases) {
    SCOPED_TRACE(::testing::PrintToString(options));
    fs::remove_all(Out());
    fs::create_directory(Out());
    const Outcome get = Get("--all" + options);
    EXPECT_EQ(get.exitCode, 0) << get.err;
    EXPECT_EQ(PathsInOut(), got);
    EXPECT_THAT(get.out, EndsWith(fmt::format(", {} left out by the filter\n", 5 - got.size())));
    EXPECT_EQ(sent(options), stored);
  }
  EXPECT_THAT(sent("--larger-than 4"), ElementsAre(same2, same));
  EXPECT_THAT(sent("--smaller-than 6"), ElementsAre(b, memo, "c.jpg", same2, nef));
}

TEST_F(GetTest, LeavesAloneWhatIsHereAndReplacesItInOneStep) {
  struct Case {
    std::string is;        // what is there
    std::time_t date = 0;  // its modify date
    Words option;          // of get
    int status = 200;      // of the original
    std::string then;      // what is there afterwards
    std::string told;      // the line at the end
  };
  constexpr const char* kHere = "0 downloaded, 1 already here\n";
  constexpr const char* kStored = "1 downloaded, 0 already here\n";
  constexpr const char* kFailed = "0 downloaded, 0 already here, 1 failed\n";
  const Case cases[] = {
      {"old", kScriptedDate, {}, 200, "old", kHere},
      {"old", kScriptedDate - 1, {}, 200, "old", kHere},
      {"old", kScriptedDate + 3600, {}, 200, "old", kFailed},
      {"old", kScriptedDate, {"--replace"}, 200, "new", kStored},
      {"old", kScriptedDate + 3600, {"--replace"}, 200, "new", kStored},
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
    const Outcome get = Get("item0" + one.option);
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
  for (const char* arguments : {"item0", "item0 --replace"}) EXPECT_EQ(Get(arguments).exitCode, 1);
  EXPECT_THAT(Names("out"), ElementsAre("a.jpg"));
}

TEST_F(GetTest, AFolderThatCannotBeLookedAtCostsOnlyItself) {
  for (const char* name : {"in/Circle/a.jpg", "in/Party/c.jpg"}) Write(name, name);
  service_.Import(folder_ / "in");
  fs::create_directory(Out());
  fs::create_symlink("Circle", Out() / "Circle");
  const Outcome get = Get("--all");
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
    const Outcome get = Get("root");
    EXPECT_THAT(get.out, EndsWith(told)) << get.err;
    EXPECT_THAT(get.err, Not(HasSubstr("(4113)")));
    EXPECT_EQ(ReadFile(Out() / "a.jpg"), "another");
    EXPECT_THAT(Names("out"), ElementsAre("a.jpg"));
  }
  if (::geteuid() == 0) return;  // who may write anywhere
  fs::permissions(Out(), fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_THAT(Get("root --replace").err, HasSubstr("cannot write into the folder " +
                                                   Out().string() + ": Permission denied\n"));
  fs::permissions(Out(), fs::perms::owner_all);
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
  const Outcome get = Get("root");
  EXPECT_EQ(get.exitCode, 0) << get.err;
  EXPECT_THAT(Names("out"),
              ElementsAre("%2E.", "%2E.%2F..%2Fevil.jpg", "%2Ebashrc", "%2Fetc%2Fevil",
                          "a%1B[31mred.jpg", "back%5Cslash", "item6", "line%0D%0Abreak.jpg"));
  EXPECT_THAT(Names("."), ElementsAre("home", "out"));
  for (const char* command : {"tree --items", "ls root", "info item4"}) {
    const Outcome shown = Kelo(command);
    EXPECT_EQ(shown.exitCode, 0) << shown.err;
    EXPECT_THAT(shown.out + get.out + get.err,
                Not(::testing::ContainsRegex("[\x01-\x09\x0B-\x1F]")))
        << command;
  }
}

TEST_F(GetTest, NamesThatFallTogetherStayFilesAndKeepTheirNumbers) {
  // What is left of a name that filled its field of 255 bytes.
  const auto cut = [](const std::string& end, const std::string& text) {
    return std::string(255 - end.size(), 'n') + text;
  };
  std::vector<ScriptedItem> items = {
      {"same.jpg", "2024-05-17T10:11:13Z", "2024-06-01"},
      {"same.jpg", "1964-05-20T10:11:13Z", "2024-06-03"},
      {"same.jpg", "2024-05-18T10:11:13Z", "2024-06-02"},
      {"same (2).jpg", "2024-05-18 10:11:13", "2024-06-04"},
      {"caf&#233;.jpg", "2024:05:18 10:11:13", "2024-06-01"},
      {"cafe&#769;.jpg", "", "2024-06-02"},
      {"caf\xC3\xA9.jpg", "2024-05-18T12:11:13+02:00", "2024-06-03"},
      {cut("&#26716", "&#26716"), "2024-05-18T07:41:13.5-02:30", "2024-06-01"},
      {cut("&#55357;&#563", "&#55357;&#563"), "", "2024-06-02"},
      {cut("&#26716;.JPE", "&#26716;.JPE"), "", "2024-06-01"},
      {cut("&#246;.j", "&#246;.j"), "", "2024-06-01", "image/tiff"},
  };
  const auto original = [](const std::string& id) { return Reply{.body = id}; };
  ScriptAccount(items, original);
  EXPECT_EQ(Get("root").exitCode, 0);
  std::map<std::string, std::string> expected = {
      {"same.jpg", "item0"},
      {"same (3).jpg", "item2"},
      {"same (4).jpg", "item1"},
      {"same (2).jpg", "item3"},
      {"caf\xC3\xA9.jpg", "item4"},
      {"caf\xC3\xA9 (2).jpg", "item5"},
      {"caf\xC3\xA9 (3).jpg", "item6"},
      {cut("&#26716", ".jpg"), "item7"},
      {cut("&#55357;&#563", ".jpg"), "item8"},
      {cut("&#26716;.JPE", "桜.JPE"), "item9"},
      {cut("&#246;.j", "ö.j.tif"), "item10"},
  };
  EXPECT_EQ(Contents(), expected);
  EXPECT_LT(ModifyTime(Out() / "same (4).jpg"), 0);
  EXPECT_EQ(ModifyTime(Out() / cut("&#26716", ".jpg")), ModifyTime(Out() / "caf\xC3\xA9 (3).jpg"));

  // One that came first in the account after the others doesn't move them, nor does one that went.
  service_.ClearArrived();
  items[0] = {"same.jpg", "2024-05-19T10:11:13Z", "2024-05-01"};
  ScriptAccount(items, original);
  EXPECT_THAT(Get("root").out, EndsWith("0 downloaded, 11 already here\n"));
  fs::remove(Out() / "same.jpg");
  fs::remove(Out() / "same (3).jpg");
  items[2].name = "other.jpg";
  expected.erase("same (3).jpg");
  expected["other.jpg"] = "item2";
  ScriptAccount(items, original);
  EXPECT_THAT(Get("root").out, EndsWith("2 downloaded, 9 already here\n"));
  EXPECT_EQ(Contents(), expected);
  EXPECT_EQ(Arrived("/original/"), 2u);
}

// A hard link under another spelling is what a file system that doesn't count case shows.
TEST_F(GetTest, TwoNamesOfOneFileAreSeenAsSuch) {
  ScriptAccount({{"Same.jpg"}, {"same.jpg"}}, [&](const std::string& id) {
    if (id == "item1") fs::create_hard_link(Out() / "Same.jpg", Out() / "same.jpg");
    return Reply{.body = id};
  });
  for (const char* told : {"2 downloaded, 0 already here\n", "0 downloaded, 2 already here\n"}) {
    const Outcome get = Get("root --transfers 1");
    EXPECT_THAT(get.out, EndsWith(told)) << get.err;
    EXPECT_EQ(ReadFile(Out() / "Same.jpg"), "item0");
    EXPECT_EQ(ReadFile(Out() / "same (2).jpg"), "item1");
  }
  fs::remove(Out() / "same.jpg");
  EXPECT_THAT(Get("root --replace --transfers 1").out, EndsWith("2 downloaded, 0 already here\n"));
  EXPECT_EQ(ReadFile(Out() / "Same.jpg"), "item0");
}

// Four times as many of one name ask the file system about four times as many questions, whatever
// stands there.
TEST_F(GetTest, ManyOfOneNameTakeNoLongerThanManyNames) {
  enum class There { kNothing, kAll, kAllButFirst, kOthers };
  const auto questions = [&](size_t count, There there) {
    const fs::path folder = folder_ / std::to_string(count);
    const fs::path wanted = folder / "a.jpg";
    fs::remove_all(folder);
    for (size_t at = 0; there != There::kNothing && at < count; ++at) {
      const std::string name = NumberedName("a.jpg", static_cast<int>(at) + 1);
      const bool other = there == There::kOthers || (there == There::kAllButFirst && at == 0);
      SetModifyTime(Write(fs::path(folder.filename() / name), "x"),
                    other ? 5 : static_cast<std::time_t>(1000 * at + 1000));
    }
    asked = 0;
    PathGiver paths;
    const auto given = paths.Give(std::vector(count, wanted), Named::kFile, [](size_t at) {
      return std::vector<PathGiver::Mark>{{"", static_cast<std::time_t>(1000 * at + 1001)}};
    });
    const size_t all = asked;
    const auto here = std::ranges::count_if(given, &PathGiver::Given::isHere);
    EXPECT_EQ(here, there == There::kAll ? count : there == There::kAllButFirst ? count - 1 : 0u);
    return all;
  };
  for (const There there : {There::kNothing, There::kAll, There::kAllButFirst, There::kOthers})
    EXPECT_LT(questions(200, there), 6 * questions(50, there)) << static_cast<int>(there);
}

}  // namespace
}  // namespace kelo::host::testing
