// Accounts that are no trees: every walk ends, tells what it left out, and does the rest.
#include <fmt/format.h>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

std::string PictureOf(const std::string& id, const std::string& name) {
  return ItemOf(id, name + ".jpg", R"(origUrl="URL/original/x")");
}
// So many folders, each of which is in the one before.
std::string Chain(int length) {
  std::string folders;
  for (int i = length; i-- > 0;)
    folders += FolderOf(fmt::format("f{}", i), "F", AlbumOf(fmt::format("f{}", i + 1), "F"));
  return folders;
}

struct Odd {
  std::string folders;
  std::string albums;
  std::string told{};  // of what is left out, or not told once more
  Words fetched{};     // besides what each of them has
  std::string friends{};
  bool unseen = false;  // of one album nobody can tell what is in it
};

class AccountTreeTest : public GetTest {
 protected:
  void Script(const Odd& odd) {
    const std::string account = "<folders>" + odd.folders + "</folders><albums>" + odd.albums +
                                AlbumOf("good", "Good", PictureOf("ok", "ok")) + "</albums>";
    TellAccount(account, [=](const ClientRequest& request) -> std::optional<Reply> {
      if (request.method != "GetForeignAlbumItems") return std::nullopt;
      return Reply{.body = R"(<a stat="ok"/><albums>)" + odd.friends + "</albums>"};
    });
  }

  // With a bound to its time: so many seconds of the processor.
  Outcome Bounded(const Words& command) const {
    const Outcome outcome =
        Process("/usr/bin/prlimit --cpu=20" + Words{KELO_PROGRAM} + command, {Environment()})
            .Wait();
    EXPECT_LE(outcome.exitCode, 3) << command[0];
    EXPECT_LE(outcome.out.size() + outcome.err.size(), 100'000u) << command[0];
    return outcome;
  }

  void ExpectEveryWalkEnds(const Odd& odd) {
    SCOPED_TRACE(odd.folders.substr(0, 300) + odd.albums);
    fs::remove_all(Out());
    Script(odd);
    const bool lost = odd.told.find("left out") != std::string::npos;
    for (const Words& walk : {Words("tree --items"), Words("tree --items --json"),
                              Words{"get", "--all", "--to", Out()}}) {
      const Outcome outcome = Bounded(walk);
      EXPECT_EQ(outcome.exitCode, !lost ? 0 : walk[0] == "get" ? 3 : 1) << walk[0] << outcome.err;
      EXPECT_THAT(outcome.out, HasSubstr("ok.jpg")) << walk[0];
      if (lost || walk[0] == "tree") EXPECT_THAT(outcome.err, HasSubstr(odd.told)) << walk[0];
      if (walk.back() == "--json")
        EXPECT_EQ(outcome.out.find("\"leftOut\":") == std::string::npos, odd.told.empty());
    }
    EXPECT_THAT(PathsInOut(), ::testing::UnorderedElementsAreArray(odd.fetched + "Good/ok.jpg"));
    for (const char* walk :
         {"ls --all", "info Good/ok.jpg", "info ok", "__complete bash info Good/"})
      EXPECT_THAT(Bounded(walk).out, HasSubstr("ok.jpg")) << walk;
    const bool hasIn = (odd.folders + odd.albums).find("\"in\"") != std::string::npos;
    EXPECT_EQ(Bounded("info in").exitCode, hasIn ? 0 : 1);
    EXPECT_THAT(Bounded("info nowhere").err,
                ::testing::ContainsRegex(odd.unseen ? "'nowhere' .1 album could not be read.;"
                                                    : "'nowhere';"));
    const Outcome put = Bounded({"put", Out().string(), "--albums-from-folders", "--dry-run"});
    EXPECT_THAT(put.err, Not(HasSubstr("the album Good would be made")));
  }
};

TEST_F(AccountTreeTest, AnAccountNeedNotBeATree) {
  const std::string in = PictureOf("in", "in");
  const Odd accounts[] = {
      {},
      {FolderOf("x", "X", AlbumOf("x", "X", in)), "",
       "X [x]: left out: the folder X [x] cannot hold it"},
      {FolderOf("x", "X", AlbumOf("y", "Y")) + FolderOf("y", "Y", AlbumOf("x", "X")), "",
       "Y [y]: listed before"},
      {Chain(300), "", "F [f299]: left out: the folder F [f298] cannot hold it"},
      // one album in two places
      {FolderOf("x", "X", AlbumOf("a", "A", in)) + FolderOf("y", "Y", AlbumOf("a", "A")), "",
       "A [a]: listed before", "X/A/in.jpg"},
      // two of one name, the later one first
      {"", AlbumOf("b", "A", PictureOf("y", "y")) + AlbumOf("a", "A", in), "",
       Words{"A (2)/y.jpg", "A/in.jpg"}},
      // an album of its folder's name: alone, with a namesake, and with a file for which there is
      // no place
      {FolderOf("x", "X", AlbumOf("b", "B", PictureOf("y", "y")) + AlbumOf("a", "X", in)), "", "",
       "X/B/y.jpg X/in.jpg"},
      {FolderOf("x", "X", AlbumOf("b", "X", PictureOf("y", "y")) + AlbumOf("a", "X", in)), "", "",
       "X/X/y.jpg X/in.jpg"},
      {FolderOf("x", "X", AlbumOf("b", "in.jpg", PictureOf("y", "y")) + AlbumOf("a", "X", in)), "",
       "", "X/X/in.jpg X/in.jpg/y.jpg"},
      // in what was an album before it was a folder
      {FolderOf("x", "X", AlbumOf("y", "Y")) + FolderOf("y", "Y", AlbumOf("a", "A", in)), "",
       "Y [y]: listed before", "A/in.jpg"},
  };
  for (const Odd& odd : accounts) ExpectEveryWalkEnds(odd);
}

TEST_F(AccountTreeTest, AnIdMayMeanSomethingElse) {
  const std::string p40(40, 'p');
  const std::string all(27, '\xFF');
  const std::string loose(27, '\xF8');
  const std::string root = "KELO_CACHEINFO_ROOT_ID";
  const std::string in = PictureOf("in", "in");
  const Odd accounts[] = {
      // ids that mean something else
      {FolderOf(root, "X", AlbumOf("a", "A", in)), AlbumOf(root, "B"),
       "Root []: left out: its id is empty", "A/in.jpg"},
      {FolderOf("x", "X", AlbumOf(all, "A", in)), "", "left out: its id is empty", "", "", true},
      {"", AlbumOf(all, "A") + AlbumOf(loose, "B"), "left out: its id is empty", "", "", true},
      {"",
       AlbumOf("a", "A", PictureOf(all, "all") + PictureOf(loose, "loose") + PictureOf(root, "r")),
       "left out: the album A [a] cannot hold it", "A/all.jpg"},
      // one id for two kinds
      {FolderOf("x", "X", ""),
       AlbumOf("a", "A", PictureOf("x", "x") + PictureOf("a", "a") + PictureOf("b", "b")),
       "X [x]: left out: the album A [a] cannot hold it", "A/b.jpg"},
      {FolderOf("x", "X", AlbumOf("a", "A", in)), "", "X [x]: listed before", "X/A/in.jpg",
       AlbumOf("x", "Theirs")},
      // long ids, of which records have the beginning
      {FolderOf(p40 + "x", "X", AlbumOf("a", "A", in)), "",
       "left out: the library does not find its id", "A/in.jpg"},
      {"", AlbumOf(p40 + "x", "A", in) + AlbumOf(p40 + "y", "B"), "B [" + p40 + "]: left out", "",
       "", true},
      {"", AlbumOf(p40, "A", in) + AlbumOf(p40 + "y", "B"),
       "B [" + p40 + "]: left out: another entry has the same id", "A/in.jpg"},
      {"", AlbumOf("a", "A", PictureOf(p40 + "x", "x") + PictureOf(p40 + "y", "y")), "",
       "A/x.jpg A/y.jpg"},
  };
  for (const Odd& odd : accounts) ExpectEveryWalkEnds(odd);
}

TEST_F(AccountTreeTest, AnAlbumThatGotANamesakeKeepsItsFolder) {
  const std::string later = AlbumOf("b", "A", PictureOf("y", "y"));
  const std::string both = AlbumOf("a", "A", PictureOf("x", "x")) + later;
  // Also the folder, and the album in it that has its name.
  const std::string inOne = AlbumOf("d", "F", PictureOf("v", "v"));
  const std::string bothInOne = AlbumOf("c", "F", PictureOf("w", "w")) + inOne;
  const std::string folder = FolderOf("e", "F", AlbumOf("g", "G", PictureOf("u", "u")));
  for (const Odd& odd :
       {Odd{FolderOf("f", "F", inOne), later}, Odd{folder + FolderOf("f", "F", bothInOne), both}}) {
    Script(odd);
    EXPECT_EQ(Get("--all").exitCode, 0);
  }
  EXPECT_THAT(PathsInOut(), ElementsAre("A (2)/x.jpg", "A/y.jpg", "F (2)/G/u.jpg", "F/F/w.jpg",
                                        "F/v.jpg", "Good/ok.jpg"));
}

}  // namespace
}  // namespace kelo::host::testing
