// Uploads through the program: what travels, what happens to the rest, and what is done twice.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>

#include "KeloProcess.h"

namespace kelo::host::testing {
namespace {

namespace fs = std::filesystem;
using devservice::LoggedRequest;
using devservice::Reply;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

Reply Refusal(int number) {
  return {.body = "<a stat=\"fail\" errcode=\"" + std::to_string(number) + "\" errmsg=\"no\"/>"};
}

class PutTest : public HostTest {
 protected:
  explicit PutTest(const devservice::Service::Options& options = {}) : HostTest(options) {
    LogIn();
  }

  std::string In() const { return (folder_ / "in").string(); }

  Outcome Put(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"put", In(), "--retries", "1"});
    return Kelo(more);
  }

  // What the account holds: paths, sorted.
  std::vector<std::string> Account() const {
    std::vector<std::string> paths;
    fs::path path;
    std::istringstream tree(Kelo({"tree", "--items"}).out);
    for (std::string line; std::getline(tree, line);) {
      const std::size_t name = line.find("── ");
      if (name == std::string::npos) continue;
      // Four columns for each level, of which a bar takes three bytes for one.
      std::size_t depth = 0;
      for (std::size_t at = 0; at < name - 3; ++at) depth += line[at] == ' ' || line[at] == '\xE2';
      while (std::distance(path.begin(), path.end()) > static_cast<std::ptrdiff_t>(depth / 4))
        path = path.parent_path();
      std::string shown = line.substr(name + 7, line.find("  [") - name - 7);
      if (shown.ends_with('/')) shown.pop_back();
      path /= shown;
      paths.push_back(path.string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  // Refuses every portion for which `isBad` holds, as the service refuses what it does not like.
  template <typename IsBad>
  void Refuse(const std::string& method, const Reply& reply, IsBad isBad) {
    service_.SetScript([=](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.apiMethod == method && isBad(request)) return reply;
      return std::nullopt;
    });
  }
};

TEST_F(PutTest, WhatCannotTravelCostsOnlyItself) {
  Write("in/a.jpg", "aaa");
  Write("in/caf\xE9.jpg", "latin");
  Write("in/empty.jpg", "");
  Write("in/huge.mov", "");
  fs::resize_file(folder_ / "in/huge.mov", 1ull << 31);
  fs::create_symlink("nowhere", folder_ / "in/dangling.jpg");
  ASSERT_EQ(::mkfifo((folder_ / "in/pipe.jpg").c_str(), 0600), 0);
  Write("in/z \"quoted\" & <z>\n.jpg", "zzz");
  const Outcome put = Put();
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("2 stored, 0 already there, 5 not stored\n"));
  EXPECT_THAT(
      put.err,
      AllOf(HasSubstr("caf?.jpg: its name is not UTF-8\n"), HasSubstr("empty.jpg: it is empty\n"),
            HasSubstr("huge.mov: 2.1 GB is too large; a file must be below 2 GiB\n"),
            HasSubstr("dangling.jpg: No such file or directory\n"),
            HasSubstr("pipe.jpg: not a file\n")));
  EXPECT_THAT(Put().out, EndsWith("0 stored, 2 already there, 5 not stored\n"));
  EXPECT_EQ(Arrived("UploadItems"), 1u);
}

TEST_F(PutTest, JunkIsLeftOutAndCounted) {
  for (const char* name :
       {"a.JPG", "b.heic", "c.mov", "d.mp3", "Thumbs.db", "desktop.INI", "._a.jpg", ".DS_Store",
        ".hidden.jpg", ".trash/x.jpg", "notes.txt", "noextension"})
    Write(std::string("in/") + name, name);
  fs::create_directory_symlink(folder_ / "in", folder_ / "in/circle");
  struct Case {
    std::vector<std::string> options;
    std::string sums;
    std::string leftOut;
  };
  const Case cases[] = {
      {{},
       "4 would be stored",
       "left out: 4 of the system, 2 hidden, 2 no picture, movie or sound, 1 a link to a folder\n"},
      {{"--include", "*.jpg", "--include=?.M*"},
       "3 would be stored",
       "2 hidden, 6 by --include or --exclude"},
      {{"--exclude", "*.Jpg", "--exclude", "no*"}, "3 would be stored", "5 by --include"},
      {{"--all-files"}, "12 would be stored", "left out: 1 a link to a folder\n"},
      {{"--all-files", "--exclude", ".trash"}, "11 would be stored", "1 by --include or --exclude"},
      {{"--all-files", "--include", ".trash/*"}, "1 would be stored", "11 by --include"},
      {{In() + "/notes.txt", In() + "/.hidden.jpg", In() + "/Thumbs.db"},
       "6 would be stored",
       "5 of the system, 2 hidden, 2 no picture"},
  };
  for (const Case& one : cases) {
    std::vector<std::string> options = one.options;
    options.push_back("--dry-run");
    const Outcome put = Put(options);
    EXPECT_EQ(put.exitCode, 0) << put.err;
    EXPECT_THAT(put.out, HasSubstr(one.sums)) << ::testing::PrintToString(one.options);
    EXPECT_THAT(put.err, HasSubstr(one.leftOut)) << ::testing::PrintToString(one.options);
  }
  const Outcome nothing = Kelo({"put", In() + "/.trash", "--exclude", "*"});
  EXPECT_EQ(nothing.exitCode, 1);
  EXPECT_EQ(nothing.err, "kelo: there is nothing to send; left out: 1 by --include or --exclude\n");
}

// Whatever the service refuses a portion for, the bad file ends up alone.
TEST_F(PutTest, ARefusedPortionIsHalvedUntilTheBadFileStandsAlone) {
  for (int i = 0; i < 40; ++i) Write("in/" + std::to_string(i) + ".jpg", "x");
  const auto hasBad = [](const LoggedRequest& request) {
    return request.body.find("\"17.jpg\"") != std::string::npos;
  };
  struct Case {
    std::string method;
    Reply reply;
    std::string reason;
  };
  const Case cases[] = {
      {"UploadItems", Refusal(301), "(4112)"},
      {"CheckUploadItems", Refusal(401), "(4112)"},
      {"UploadItems", {.status = 413}, "(4103)"},
      {"UploadItems", Refusal(999), "(4144)"},
      {"UploadItems", {.closeAtOnce = true}, "(4129)"},
  };
  bool first = true;
  for (const Case& one : cases) {
    Refuse(one.method, one.reply, hasBad);
    const Outcome put = Put();
    EXPECT_EQ(put.exitCode, 1) << one.reason;
    EXPECT_THAT(put.out, EndsWith(first ? "39 stored, 0 already there, 1 not stored\n"
                                        : "0 stored, 39 already there, 1 not stored\n"));
    EXPECT_THAT(put.err, AllOf(HasSubstr("/17.jpg: "), HasSubstr(one.reason + "\n")));
    first = false;
  }
}

// The first answer is lost behind the stored files: nothing is sent twice.
TEST_F(PutTest, AnUploadWhoseOutcomeIsUnknownIsCheckedFirst) {
  for (const char* name : {"in/a.jpg", "in/b.jpg", "in/c.jpg"}) Write(name, name);
  for (const bool force : {false, true}) {
    std::atomic<int> lost = 0;
    service_.SetScript([&](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.apiMethod == "UploadItems" && lost++ == 0) return Reply{.closeAtOnce = true};
      return std::nullopt;
    });
    service_.ClearLog();
    const Outcome put = force ? Put({"--force"}) : Put();
    EXPECT_EQ(put.exitCode, 0) << put.err;
    EXPECT_THAT(put.out, EndsWith(force ? "0 stored, 3 already there, 0 not stored\n"
                                        : "3 stored, 0 already there, 0 not stored\n"));
    EXPECT_EQ(Arrived("CheckUploadItems"), force ? 1u : 2u);
  }
}

TEST_F(PutTest, AServiceThatIsGoneEndsTheUpload) {
  for (int i = 0; i < 120; ++i) Write("in/" + std::to_string(i) + ".jpg", "x");
  service_.SetScript([](const LoggedRequest&) { return Reply{.status = 504}; });
  const Outcome put = Put();
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("0 stored, 0 already there, 120 not stored\n"));
  EXPECT_THAT(put.err, HasSubstr("120 files not sent: the service did not answer in time (4128)"));
  EXPECT_LT(put.err.size(), 1000u);
}

TEST_F(PutTest, FilesThatAreThereArePlacedInTheAlbum) {
  for (const char* name : {"in/a.jpg", "in/b.jpg", "in/c.jpg"}) Write(name, name);
  ASSERT_EQ(Put({"--exclude", "c.jpg"}).exitCode, 0);
  Write("in/empty.jpg", "");
  ASSERT_EQ(Kelo({"mkdir", "Journeys"}).exitCode, 0);
  struct Case {
    std::string sums;
    std::string album;
  };
  const Case cases[] = {
      {"1 stored, 2 were there and are now in New & old, 1 not stored\n", "New & old"},
      {"0 stored, 3 already there, 1 not stored\n", "New & old"},
      {"0 stored, 3 were there and are now in Journeys/Lisbon, 1 not stored\n", "Journeys/Lisbon"},
      {"0 stored, 3 already there, 1 not stored\n", "Lisbon"},
      {"0 stored, 3 already there, 1 not stored\n", "root"},
  };
  for (const Case& one : cases)
    EXPECT_THAT(Put({"--album", one.album}).out, EndsWith(one.sums)) << one.album;
  EXPECT_THAT(Account(), ElementsAre("(in no album)", "(in no album)/a.jpg", "(in no album)/b.jpg",
                                     "Journeys", "Journeys/Lisbon", "Journeys/Lisbon/a.jpg",
                                     "Journeys/Lisbon/b.jpg", "Journeys/Lisbon/c.jpg", "New & old",
                                     "New & old/a.jpg", "New & old/b.jpg", "New & old/c.jpg"));
}

// A second time nothing is sent or made, and the service's import of the folder finds it all.
TEST_F(PutTest, FoldersBecomeAlbumsByTheRuleOfTheImport) {
  std::string japanese;
  for (int i = 0; i < 40; ++i) japanese += "桜";
  for (const std::string& name :
       {std::string("top.jpg"), std::string("Plain/a.jpg"), std::string("Trip/loose.jpg"),
        std::string("Trip/One/b.jpg"), std::string("Trip/One/deep/c.jpg"),
        std::string("Trip/Two/d.jpg"), japanese + "/Inner/f.jpg"})
    Write("in/" + name, name);
  EXPECT_THAT(Put({"--albums-from-folders"}).out, HasSubstr("7 stored, 0 already"));
  const auto account = Account();
  service_.Import(In());
  EXPECT_EQ(Account(), account);
  EXPECT_THAT(account, IsSupersetOf({"(in no album)/top.jpg", "Plain/a.jpg", "Trip/Trip/loose.jpg",
                                     "Trip/One/b.jpg", "Trip/One/c.jpg", "Trip/Two/d.jpg"}));
  Write("in/Decompose\xCC\x81/e.jpg", "an accent written apart");
  Write("in/Empty/notes.txt", "not a picture");
  for (const std::string sums : {"1 stored, 7 already", "0 stored, 8 already"})
    EXPECT_THAT(Put({"--albums-from-folders"}).out, HasSubstr(sums));
  EXPECT_EQ(Arrived("UploadItems"), 7u);  // one for each album
  EXPECT_EQ(Arrived("AddAlbum"), 6u);
  EXPECT_EQ(Arrived("AddFolder"), 2u);
}

// Twins of one name, size and date: copies are sent once, others all the same.
TEST_F(PutTest, NothingIsSentTwiceAndNothingTakenForItsTwin) {
  const timespec times[2] = {{1'700'000'000, 0}, {1'700'000'000, 0}};
  for (const std::string name : {"A/1.jpg", "A/2.jpg", "B/1.jpg", "B/2.jpg", "C/1.jpg"}) {
    const fs::path file = Write("in/" + name, name == "B/2.jpg" ? "othr" : "same");
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  }
  fs::create_symlink(folder_ / "in/A/2.jpg", folder_ / "in/C/2.jpg");
  EXPECT_THAT(Put({"--dry-run", "--albums-from-folders"}).out,
              EndsWith("3 would be stored, 3 were there and would be placed in their albums, "
                       "0 not stored\n"));
  EXPECT_THAT(Put({"--albums-from-folders"}).out,
              EndsWith("3 stored, 3 were there and are now in their albums, 0 not stored\n"));
  EXPECT_THAT(Put({"--albums-from-folders"}).out, HasSubstr("0 stored, 6 already there, 0 not"));
  EXPECT_THAT(Put().out, HasSubstr("0 stored, 5 already there, 0 not"));
  EXPECT_EQ(Kelo({"get", "--album", "B", "--to", (folder_ / "out").string()}).exitCode, 0);
  EXPECT_EQ(ReadFile(folder_ / "out/2.jpg"), "othr");
}

TEST_F(PutTest, ADryRunChangesNothing) {
  Write("in/a.jpg", "aaa");
  Write("in/Trip/b.jpg", "bbb");
  Write("in/Trip/b.wav", "memo");
  Write("in/empty.jpg", "");
  ASSERT_EQ(Kelo({"put", In() + "/a.jpg"}).exitCode, 0);
  service_.ClearLog();
  const Outcome put = Put({"--dry-run", "--album", "New"});
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.err, AllOf(HasSubstr("the album New would be made\n"),
                             HasSubstr("empty.jpg: it is empty\n")));
  EXPECT_THAT(put.out, AllOf(HasSubstr("a.jpg: is there, and would be placed in New\n"),
                             HasSubstr("b.jpg: would be stored, 3 bytes\n"),
                             EndsWith("2 would be stored, 1 were there and would be placed in New, "
                                      "1 not stored\n")));
  const Outcome folders = Put({"--dry-run", "--albums-from-folders", "--exclude", "empty*"});
  EXPECT_EQ(folders.exitCode, 0);
  EXPECT_THAT(folders.err, HasSubstr("the album Trip would be made\n"));
  for (const char* method : {"UploadItems", "AddAlbum", "AddFolder", "AddItemsToAlbum"})
    EXPECT_EQ(Arrived(method), 0u) << method;
}

TEST_F(PutTest, JsonTellsEachFile) {
  Write("in/a.jpg", "aaa");
  Write("in/b\xE9.jpg", "bbb");
  Write("in/c.jpg", "ccc");
  Refuse("UploadItems", Refusal(301), [](const LoggedRequest& request) {
    return request.body.find("\"c.jpg\"") != std::string::npos;
  });
  const Outcome put = Put({"--json", "--album", "Journeys/J"});
  EXPECT_EQ(put.exitCode, 1);
  std::istringstream lines(put.out);
  std::map<std::string, nlohmann::json> files;
  for (std::string line; std::getline(lines, line);) {
    nlohmann::json file = nlohmann::json::parse(line);
    std::string name = fs::path(file["path"].get<std::string>()).filename();
    if (file.contains("id")) EXPECT_EQ(file["id"].get<std::string>().size(), 27u);
    file.erase("path");
    file.erase("id");
    files[name] = std::move(file);
  }
  const nlohmann::json album = {{"folder", "Journeys"}, {"album", "J"}, {"bytes", 3}};
  nlohmann::json stored = album;
  stored["outcome"] = "stored";
  nlohmann::json failed = album;
  failed["outcome"] = "failed";
  failed["error"] = {
      {"code", 4112},
      {"message", "the service or the library does not accept the request's values"}};
  const nlohmann::json misnamed = {{"outcome", "failed"},
                                   {"error", {{"message", "its name is not UTF-8"}}}};
  EXPECT_THAT(files, UnorderedElementsAre(::testing::Pair("a.jpg", stored),
                                          ::testing::Pair("c.jpg", failed),
                                          ::testing::Pair("b\xEF\xBF\xBD.jpg", misnamed)));
}

TEST_F(PutTest, LongNamesAreWarnedOf) {
  std::string name;
  for (int i = 0; i < 31; ++i) name += "桜";
  Write("in/" + name + ".jpg", "252 bytes of references");
  Write("in/" + name + "桜.jpg", "260 of them");
  const Outcome put = Put();
  EXPECT_EQ(put.exitCode, 0);
  EXPECT_THAT(put.err, EndsWith(name +
                                "桜.jpg: the name is longer than the catalogue shows; it ends "
                                "after '" +
                                name + "'\n"));
  EXPECT_THAT(put.err, Not(HasSubstr("/" + name + ".jpg: the name")));
}

class FullStorageTest : public PutTest {
 protected:
  FullStorageTest() : PutTest({.quotaBytes = 1000}) {}
};

TEST_F(FullStorageTest, WhatStillFitsIsSent) {
  Write("in/1.jpg", std::string(600, '1'));
  ASSERT_EQ(Put().exitCode, 0);
  Write("in/2.jpg", std::string(500, '2'));
  Write("in/3.jpg", std::string(300, '3'));
  Write("in/4.jpg", std::string(200, '4'));
  Write("in/4.wav", std::string(50, 'm'));
  Write("in/5.jpg", std::string(90, '5'));
  const Outcome put = Put({"--album", "All"});
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("2 stored, 1 were there and are now in All, 3 not stored\n"));
  for (const char* name : {"2.jpg", "4.jpg", "4.wav"})
    EXPECT_THAT(put.err, HasSubstr(std::string(name) + ": the account's storage is full (4102)\n"));
}

TEST_F(PutTest, CtrlCSaysWhatWasDone) {
  Write("in/A/a.jpg", "aaa");
  Write("in/B/b.jpg", "bbb");
  service_.SetScript([](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.body.find("\"b.jpg\"") != std::string::npos) return Reply{.silent = true};
    return std::nullopt;
  });
  KeloProcess kelo({"put", In(), "--albums-from-folders"}, Environment());
  ASSERT_TRUE(service_.WaitForRequest(
      [](const auto& request) { return request.body.find("\"b.jpg\"") != std::string::npos; }));
  kelo.Signal(SIGINT);
  const Outcome outcome = kelo.Wait();
  EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
  EXPECT_THAT(outcome.err, EndsWith("kelo: aborted: 1 of 2 stored\n"));
}

}  // namespace
}  // namespace kelo::host::testing
