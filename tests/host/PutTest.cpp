// What uploads take, where it goes, and what is done twice.
#include <fmt/format.h>

#include "HostTest.h"
#include "host/upload/Plan.h"
#include "host/upload/Walk.h"

namespace kelo::host::testing {
namespace {

TEST_F(PutTest, JunkIsLeftOutAndCounted) {
  for (const char* name :
       {"a.JPG", "b.heic", "c.mov", "d.mp3", "Thumbs.db", "desktop.INI", "._a.jpg", ".DS_Store",
        ".hidden.jpg", ".trash/x.jpg", "notes.txt", "noextension", "a.XMP", "d.aae"})
    Write(std::string("in/") + name, name);
  fs::create_directory_symlink(folder_ / "in", folder_ / "in/circle");
  struct Case {
    Words options;
    std::string sums;
    std::string leftOut;
  };
  const Case cases[] = {
      {{},
       "4 would be stored",
       "left out: 4 system files, 2 hidden, 2 sidecars (XMP, AAE, THM), which the service cannot "
       "keep "
       "with their pictures, 2 of other kinds (--all-files sends such files), 1 link to a "
       "folder\n"},
      {"--include {*.jpg,?.M*}", "3 would be stored",
       "2 hidden (--all-files sends such files), 8 by the filter"},
      {"--exclude *.Jpg --exclude no*", "3 would be stored", "5 by the filter"},
      {"--all-files", "14 would be stored", "left out: 1 link to a folder\n"},
      {"--all-files --exclude .trash", "13 would be stored", "1 by the filter"},
      {"--all-files --include .trash/*", "1 would be stored", "13 by the filter"},
      {"--all-files --include /.trash/", "1 would be stored", "13 by the filter"},
      {"--all-files --include **/?.jpg", "2 would be stored", "12 by the filter"},
      {{"--files-from", Write("list", fmt::format("{0}/notes.txt\n\n{0}/.hidden.jpg\n{0}/Thumbs.db",
                                                  In().string()))},
       "6 would be stored",
       "5 system files, 2 hidden, 2 sidecars"},
  };
  for (const Case& one : cases) {
    const Outcome put = Put(one.options + "--dry-run");
    EXPECT_EQ(put.exitCode, 0) << put.err;
    EXPECT_THAT(put.out, HasSubstr(one.sums)) << ::testing::PrintToString(one.options);
    EXPECT_THAT(put.err, HasSubstr(one.leftOut)) << ::testing::PrintToString(one.options);
  }
  const Words trash = {"put", In() / ".trash"};
  const Outcome nothing = Kelo(trash + "--exclude *");
  EXPECT_EQ(nothing.exitCode, 0);
  EXPECT_EQ(nothing.out, "nothing to send; left out: 1 by the filter\n");
  const std::string list = In() / "no list";
  EXPECT_EQ(Kelo(trash + Words{"--files-from", list}).err,
            "kelo: cannot read the list " + list + ": No such file or directory\n");
}

TEST_F(PutTest, FilesThatAreThereArePlacedInTheAlbum) {
  for (const char* name : {"in/a.jpg", "in/b.jpg", "in/c.jpg"}) Write(name, name);
  ASSERT_EQ(Put({"--exclude", "c.jpg", "--tags", "sea & sun"}).exitCode, 0);
  EXPECT_TRUE(WaitFor("UploadItems", "sea &amp; sun"));
  Write("in/empty.jpg", "");
  ASSERT_EQ(Kelo("mkdir Journeys").exitCode, 0);
  struct Case {
    std::string sums;
    std::string album;
  };
  const Case cases[] = {
      {"1 stored, 2 were there and are now in New & old, 1 not stored\n", "New & old/"},
      {"0 stored, 3 already there, 1 not stored\n", "New & old"},
      {"0 stored, 3 were there and are now in Journeys/Lisbon, 1 not stored\n", "Journeys/Lisbon"},
      {"0 stored, 3 already there, 1 not stored\n", "Lisbon/"},
      {"0 stored, 3 already there, 1 not stored\n", "root"},
  };
  for (const Case& one : cases)
    EXPECT_THAT(Put({"--album", one.album}).out, EndsWith(one.sums)) << one.album;
  EXPECT_THAT(Put("--album X/Y/Z").err, HasSubstr("'X/Y/Z' is no album and cannot be made: "));
  EXPECT_THAT(Account(), ElementsAre("/Journeys", "/Journeys/Lisbon", "/Journeys/Lisbon/a.jpg",
                                     "/Journeys/Lisbon/b.jpg", "/Journeys/Lisbon/c.jpg",
                                     "/New & old", "/New & old/a.jpg", "/New & old/b.jpg",
                                     "/New & old/c.jpg", "/root", "/root/a.jpg", "/root/b.jpg"));
}

// A second time nothing is sent or made, and the service's import of the folder finds it all.
TEST_F(PutTest, FoldersBecomeAlbumsByTheRuleOfTheImport) {
  for (const std::string& name :
       Words{"top.jpg", "Plain/a.jpg", "Trip/loose.jpg", "Trip/One/b.jpg", "Trip/One/deep/c.jpg",
             "Trip/Two/d.jpg", Repeated("桜", 40) + "/Inner/f.jpg"})
    Write("in/" + name, name);
  EXPECT_THAT(Put("--albums-from-folders --transfers 1").out, HasSubstr("7 stored, 0 already"));
  const auto account = Account();
  service_.Import(In());
  EXPECT_EQ(Account(), account);
  EXPECT_THAT(account, IsSupersetOf({"/root/top.jpg", "/Plain/a.jpg", "/Trip/Trip/loose.jpg",
                                     "/Trip/One/b.jpg", "/Trip/One/c.jpg", "/Trip/Two/d.jpg"}));
  Write("in/Decompose\xCC\x81/e.jpg", "an accent written apart");
  Write("in/Empty/notes.txt", "not a picture");
  for (const std::string sums : {"1 stored, 7 already", "0 stored, 8 already"})
    EXPECT_THAT(Put("--albums-from-folders --transfers 1").out, HasSubstr(sums));
  // Each of several folders counts as one in the folder that is named.
  EXPECT_THAT(
      Kelo({"put", In() / "Plain", In() / "Trip/.", In() / "top.jpg", "--albums-from-folders"}).out,
      HasSubstr("0 stored, 6 already there, 0"));
  // What lies directly in a folder is known once the folders in it are gone.
  for (const char* gone : {"Trip/One", "Trip/Two"}) fs::remove_all(In() / gone);
  EXPECT_THAT(Put("--albums-from-folders").out, HasSubstr("0 stored, 5 already there, 0"));
  EXPECT_THAT(Kelo({"put", In() / "Plain", "--albums-from-folders"}).err,
              StartsWith("no album is made: all files lie directly in PATH;"));
  EXPECT_EQ(Arrived("UploadItems"), 7u);  // one for each album
  EXPECT_EQ(Arrived("AddAlbum"), 6u);
  EXPECT_EQ(Arrived("AddFolder"), 2u);
}

TEST_F(PutTest, AMemoTravelsWithItsPictureOnly) {
  Write("in/Dawn.JPG", "picture");
  Write("in/dawn.wav", "memo");
  Write("in/alone/dawn.wav", "lone memo");
  Write("in/other.jpg", "other");
  const Outcome first = Put();
  EXPECT_THAT(first.out, EndsWith("3 stored, 0 already there, 1 not stored\n"));
  EXPECT_THAT(first.err,
              HasSubstr("alone/dawn.wav: a voice memo is sent with the picture of its name"));
  Write("in/new.jpg", "new");  // must not take the memo along again
  const Outcome second = Put("--exclude alone");
  EXPECT_EQ(second.exitCode, 0) << second.err;
  EXPECT_THAT(second.out, EndsWith("1 stored, 3 already there, 0 not stored\n"));
  EXPECT_THAT(Put("--force").out, EndsWith("5 stored, 0 already there, 0 not stored\n"));
}

TEST_F(PutTest, ADateOfAShotAndARatingArrive) {
  ASSERT_EQ(Kelo({"put", KELO_SAMPLES_DIRECTORY "/mine/Garden/rosebed.jpg"}).exitCode, 0);
  EXPECT_EQ(Kelo("tag rosebed.jpg red").out, "rosebed.jpg: tags added\n");
  EXPECT_EQ(Kelo("rate rosebed.jpg 4").out, "rosebed.jpg: rated 4\n");
  EXPECT_EQ(Kelo({"caption", "rosebed.jpg", ""}).out, "rosebed.jpg: caption removed\n");
  for (const auto& [method, text] :
       {std::pair("CheckUploadItems", "shotDate=\"2026-05-17T10:11:12\""),
        {"ModifyProps", "name=\"rating\" value=\"4\""},
        {"ModifyProps", "name=\"captionFlag\" value=\"false\""}})
    EXPECT_TRUE(WaitFor(method, text)) << method;
}

TEST_F(PutTest, ALinkOfAnotherNameIsACopy) {
  Write("in/a.jpg", "aaa");
  fs::create_hard_link(In() / "a.jpg", In() / "b.jpg");
  fs::create_symlink("a.jpg", In() / "c.jpg");
  EXPECT_THAT(Kelo({"put", In(), In() / "a.jpg"}).out,
              EndsWith("3 stored, 0 already there, 0 not stored\n"));
}

TEST_F(PutTest, JsonTellsEachFile) {
  Write("in/\"a\" & <a>\n.jpg", "aaa");
  Write("in/b\xE9.jpg", "bbb");
  Write("in/c.jpg", "ccc");
  AnswerWith(Refusal(301), "UploadItems", [](const ClientRequest& request) {
    return request.body.find("\"c.jpg\"") != std::string::npos;
  });
  const Outcome put = Put("--json --album Journeys/J");
  EXPECT_EQ(put.exitCode, 1);
  std::map<std::string, nlohmann::json> files;
  auto objects = Objects(put.out);
  EXPECT_EQ(Summary(put.out), nlohmann::json::parse(R"({
    "stored": 1, "alreadyThere": 0, "alreadyInAlbum": 0, "placed": 0, "notPlaced": 0, "notSent": 0,
    "failed": 1, "unfit": 1, "bytes": 3, "leftOut": 0, "leftOutBy": {}, "exitCode": 1})"));
  objects.pop_back();
  for (nlohmann::json& file : objects) {
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
  failed["error"] = {{"code", 4112}, {"message", "a value of the request was refused"}};
  const nlohmann::json misnamed = {{"outcome", "unfit"},
                                   {"error", {{"message", "its name is not UTF-8"}}}};
  EXPECT_THAT(files, UnorderedElementsAre(::testing::Pair("\"a\" & <a>\n.jpg", stored),
                                          ::testing::Pair("c.jpg", failed),
                                          ::testing::Pair("b\xEF\xBF\xBD.jpg", misnamed)));
  EXPECT_EQ(CountOf("\"album\"", Put("--json").out), 0u);
  const Outcome refused = Kelo({"put", Write("d.exe", "d").string(), "--force", "--json"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(Objects(refused.out).at(0)["error"]["message"], HasSubstr("not confirmed"));
}

TEST(PlanUpload, BoundsRequestsAndGivesAllLanesTheSame) {
  constexpr std::uint64_t kMiB = 1 << 20;
  using Sizes = std::vector<std::uint64_t>;
  struct Case {
    Sizes sizes;
    unsigned lanes;
    std::vector<size_t> files;  // of each request
  };
  const Case cases[] = {
      {Sizes(250, 1), 1, {100, 100, 50}},
      {Sizes(250, 1), 4, {100, 100, 50}},
      {Sizes(100, 50'000), 16, {50, 50}},
      {Sizes(250, 50'000), 4, {63, 62, 63, 62}},
      {Sizes(401, 50'000), 4, {50, 50, 50, 51, 50, 50, 50, 50}},
      {Sizes(8, 10 * kMiB), 1, {6, 2}},
      {Sizes(8, 10 * kMiB), 4, {2, 2, 2, 2}},
      {Sizes(8, 10 * kMiB), 16, {1, 1, 1, 1, 1, 1, 1, 1}},
      {{40 * kMiB, 30 * kMiB, 200 * kMiB, 24 * kMiB, 40 * kMiB}, 1, {1, 1, 1, 2}},
      {{40 * kMiB, 30 * kMiB, 200 * kMiB, 24 * kMiB, 40 * kMiB}, 2, {1, 1, 1, 2}},
  };
  for (const auto& [sizes, lanes, expected] : cases) {
    std::vector<File> files;
    for (const std::uint64_t size : sizes)
      files.push_back({.path = fmt::format("{}.jpg", files.size()), .size = size});
    std::vector<size_t> counts;
    for (const auto& request : PlanUpload(files, true, lanes).requests)
      counts.push_back(request.files.size());
    EXPECT_EQ(counts, expected) << sizes.size() << " files, " << lanes << " lanes";
  }
}

TEST(SameContent, IsNotThatOfWhatCannotBeRead) {
  EXPECT_FALSE(SameContent("/", "/"));
}

}  // namespace
}  // namespace kelo::host::testing
