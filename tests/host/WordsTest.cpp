// What the program says about itself and about failures: help, hints, suggestions, codes.

#include "HostTest.h"
#include "commandline/Suggest.h"
#include "host/names/Dates.h"
#include "host/names/Filter.h"
#include "host/terminal/Output.h"

namespace kelo::host::testing {
namespace {

TEST(SuggestTest, TakesTheNearestNameAndNoFarOne) {
  const Words known = {"put", "get", "mkdir", "mkalbum", "Harbour", "桜の庭", "Äpfel", "q", ""};
  const std::pair<std::string, std::string> cases[] = {
      {"pt", "put"},          {"puut", "put"},      {"GETT", "get"},    {"mkdri", "mkdir"},
      {"hrabuor", "Harbour"}, {"桜の店", "桜の庭"}, {"äpfle", "Äpfel"}, {"upload", ""},
      {"Harb", ""},           {"xyz", ""},          {"x", ""},          {"", ""},
      {"\xff\xfe", ""}};
  for (const auto& [wanted, closest] : cases)
    EXPECT_EQ(Closest(wanted, known).value_or(""), closest) << wanted;
  EXPECT_EQ(Closest("ab", {"ac", "aab", "ab"}), "ab");
}

TEST(FilterTest, ReadsWhatAPersonWrites) {
  const std::pair<std::string, Words> globs[] = {
      {"{a,b{1,,2}}.{x,y}", {"a.x", "a.y", "b1.x", "b1.y", "b.x", "b.y", "b2.x", "b2.y"}},
      {"{a{b,c}", {"{ab", "{ac"}},
      {"/**/a/**/b/**", {"/a/b/**", "/a/**/b/**", "/**/a/b/**", "/**/a/**/b/**"}},
      {"{4F2A}}{,{", {"{4F2A}}{,{"}},
      {"\\{a,b}{c\\,d,\\}}", {"\\{a,b}c\\,d", "\\{a,b}\\}"}},
      {Repeated("{a,b}", 30), {}}};
  for (const auto& [glob, all] : globs) EXPECT_EQ(WithoutBraces(glob), all) << glob;

  const Filter filter{.exclude = {"\u00DCBER*", "Caf?.jpg"}};
  for (const char* name : {"\u00FCber.jpg", "cafe\u0301.JPG"}) EXPECT_TRUE(filter.Excludes(name));
  EXPECT_FALSE(filter.Excludes("uber.jpg"));

  constexpr std::time_t kNow = 1715940673;  // 2024-05-17T10:11:13Z
  const auto at = [](const char* date) { return ShownSeconds(date, DateClock::kCamera); };
  const auto then = [](const char* date) { return ShownSeconds(date, DateClock::kUniversal); };
  const std::pair<const char*, std::optional<std::int64_t>> moments[] = {
      {"2024", at("2024-01-01T00:00:00")},       {"2024-05", at("2024-05-01T00:00:00")},
      {"2024-05-17", at("2024-05-17T00:00:00")}, {"2024-05-17 10:11", at("2024-05-17T10:11:00")},
      {"12h", then("2024-05-16T22:11:13Z")},     {"3w", then("2024-04-26T10:11:13Z")},
      {"1y", then("2023-05-18T10:11:13Z")}};
  for (const auto& [text, moment] : moments) EXPECT_EQ(MomentMeant(text, kNow), moment) << text;
  for (const char* text : {"", "2m", "d", "-1d", "2d3", "99999d", "2024-13", "2024-02-30",
                           "24-05-17", "2024-05-17T10:11:12x", "yesterday"})
    EXPECT_FALSE(MomentMeant(text, kNow)) << text;

  const std::pair<const char*, std::optional<std::uint64_t>> sizes[] = {
      {"0", 0},   {"500K", 500'000}, {"2g", 2'000'000'000}, {"18446745T", {}}, {"1.5G", {}},
      {"-1", {}}, {"", {}},          {"10MB", {}}};
  for (const auto& [text, bytes] : sizes) EXPECT_EQ(SizeMeant(text), bytes) << text;
}

class WordsTest : public HostTest {};

TEST_F(WordsTest, PointsToWhatWasMeantAndWhereToReadOn) {
  struct Case {
    Words command;
    std::string error;
    std::string help{};  // about what
  };
  const Case cases[] = {
      {"ptu", "there is no command 'ptu'; did you mean 'put'?"},
      {"upload", "there is no command 'upload'"},
      {"help gte", "there is no command 'gte'; did you mean 'get'?"},
      {"put x --albm=y", "there is no option '--albm'; did you mean '--album'?", " put"},
      {"put -rf.jpg", "there is no option '-rf.jpg'", " put"},
      {"ls --sort 2", "--sort: 2 not in {name,shot,upload}", " ls"},
      {"-q quota x", "unexpected argument 'x'", " quota"},
      {"mail x", "--to is required", " mail"},
      {"rate id", "N is required", " rate"},
      {{"tag", "id", " ,"}, "TAGS: there is no tag in it", " tag"},
      {"put x --tags ,", "--tags: there is no tag in it", " put"},
      {"quota --give-up-after 5", "--give-up-after: '5' is no time such as 30s, 5m or 1h",
       " quota"},
      {"put x --larger-than 5x", "--larger-than: '5x' is no size such as 4096, 500k, 10M or 2G",
       " put"},
      {"get --all --newer-than 2m",
       "--newer-than: '2m' is no date such as 2024-05-17 or 2024, and no age such as 12h, 7d, 3w "
       "or "
       "1y",
       " get"},
      {"put", "put: give PATHs or --files-from", " put"},
      {"rate id six", "N: 'six' is no number between 0 and 5", " rate"},
      {{"login", "--key", std::string(33, 'k')}, "--key: is longer than 32 characters", " login"},
      {"login --token to", "--token: is shorter than 8 characters", " login"},
      {{"caption", "id", std::string(320, 'c')},
       "TEXT: 'cccccccccccccccccccc...' is longer than 319 bytes",
       " caption"},
  };
  for (const Case& one : cases) {
    const Outcome outcome = Kelo(one.command);
    EXPECT_EQ(outcome.exitCode, 2) << outcome.err;
    EXPECT_EQ(outcome.err, "kelo: " + one.error + "\nsee 'kelo help" + one.help + "'\n");
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(Kelo({}).exitCode, 2);
  const Outcome help = Kelo("help put");
  EXPECT_EQ(help.exitCode, 0) << help.err;
  EXPECT_THAT(help.out, StartsWith("Usage: kelo put "));
  EXPECT_EQ(help.out, Kelo("put --help").out);
  EXPECT_EQ(CountOf("--help", help.out), 1u);
  std::istringstream lines(help.out.substr(help.out.find('\n')));
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  EXPECT_THAT(Kelo("--man").out, HasSubstr("\n\\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n"));
  EXPECT_EQ(Kelo("help").out, Kelo("--help").out);
  EXPECT_EQ(service_.RequestCount(), 0u);
}

TEST_F(WordsTest, MakesASecondOneOfANameOnlyWhenForced) {
  LogIn();
  ASSERT_EQ(Kelo("mkdir Q").exitCode, 0);
  const std::string longName = Repeated("桜", 50);  // 400 bytes of references at the service
  ASSERT_EQ(Kelo({"mkalbum", longName}).exitCode, 0);
  EXPECT_EQ(Kelo({"mkalbum", longName}).exitCode, 1);
  for (const Words command : {"mkdir", "mkalbum", "mkalbum --folder Q"}) {
    const auto make = [&](const Words& rest) { return Kelo(command + rest); };
    EXPECT_EQ(make({"Q & \"A\"", "桜"}).exitCode, 0);
    const Outcome again = make("桜 Third Third");
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_THAT(again.err, AllOf(HasSubstr("cannot create '桜': it is there already, with the id "),
                                 HasSubstr("cannot create 'Third': it is named twice in this")));
    EXPECT_THAT(again.out, AllOf(HasSubstr("  Third\n"), Not(HasSubstr("桜"))));
    const Outcome forced = make("桜 --force --json");
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    const Json object = Json::parse(forced.out);
    EXPECT_EQ(object["name"], "桜");
    EXPECT_EQ(object["kind"], command[0] == "mkdir" ? "folder" : "album");
    EXPECT_EQ(object["parentId"].is_null(), command.size() == 1);
    const Json refused = Json::parse(make("桜 --json").out);
    EXPECT_THAT(refused["error"]["message"], HasSubstr("--force"));
  }
  EXPECT_EQ(Arrived("AddAlbum") + Arrived("AddFolder"), 2u + 3 * 4);
  // A path is one, unless it is said that it is none.
  EXPECT_EQ(Kelo("mkalbum q/Slash/ Slash /Top/").exitCode, 0);
  EXPECT_THAT(Kelo("ls Q/").out, HasSubstr("  Slash\n"));
  EXPECT_EQ(Kelo("mkalbum AC/DC").err,
            "kelo: there is no folder 'AC'; --force makes 'AC/DC' at the top\n");
  EXPECT_EQ(
      Kelo("mkalbum Q/b/c").err,
      "kelo: 'Q/b/c' cannot be made: an album lies in a folder at the top, and folders hold no "
      "folders; --force makes the album 'b/c' in 'Q'\n");
  EXPECT_EQ(Kelo("mkdir Q/R").err,
            "kelo: folders can hold only albums; --force makes 'Q/R' at the top\n");
  EXPECT_EQ(Kelo("mkalbum AC/DC --force").exitCode, 0);
  EXPECT_THAT(Kelo("ls").out, AllOf(HasSubstr("  AC/DC\n"), HasSubstr("  Top\n")));
}

TEST_F(WordsTest, CompletesNothingWhereTheAccountCannotBeAsked) {
  EXPECT_EQ(Kelo({"__complete", "zsh", "ls", ""}).out, "names\n");  // no session
  LogIn();
  ASSERT_EQ(Kelo({"mkalbum", "Harbour", "Harbour "}).exitCode, 0);
  ASSERT_EQ(Kelo("mkdir Twice Twice --force").exitCode, 0);
  EXPECT_EQ(Kelo("__complete bash ls Ha").out, "names\nHarbour\nHarbour\\ \n");
  EXPECT_EQ(Kelo("__complete bash ls Tw").out, "names\n");  // leads to neither
  const std::string twin = Write("twin.jpg", "x").string();
  for (const std::string& file : {twin, twin, Write("one.jpg", "x").string()})
    ASSERT_EQ(Kelo({"put", file, "--force", "--album", "Harbour"}).exitCode, 0);
  EXPECT_EQ(Kelo("__complete bash get Harbour/").out, "names\nHarbour/one.jpg\n");
  // What is ambiguous costs only itself.
  const Outcome some = Kelo({"get", "Twice", "Harbour/one.jpg", "--to", folder_ / "out"});
  EXPECT_EQ(some.exitCode, 1);
  EXPECT_THAT(some.err, HasSubstr("kelo: 'Twice' may mean 2 entries"));
  EXPECT_THAT(some.out, EndsWith("1 downloaded, 0 already here\n"));
  service_.SetScript([](const auto&) { return devservice::Reply{.closeAtOnce = true}; });
  service_.ClearArrived();
  const Outcome failed = Kelo({"__complete", "zsh", "ls", ""});
  EXPECT_EQ(service_.RequestCount(), 1u);
  EXPECT_EQ(failed.exitCode, 0);
  EXPECT_EQ(failed.out + failed.err, "names\n");
}

// The demonstration proves its steps by itself; here it gets pictures that are not made for it.
TEST_F(WordsTest, TheDemoProvesEveryStepAndCleansUp) {
  for (const std::string& name :
       Words{"one.jpg", "below/one.jpg", "below/one.wav", Repeated("桜", 50) + ".jpg",
             "caf\xE9.jpg", "Thumbs.db"})  // the catalogue cuts the long one
    Write("pictures/" + name, "content of " + name);
  Write("pictures/empty.jpg", "");
  fs::create_directory(folder_ / "tmp");
  fs::create_directory(folder_ / "empty");
  const Words environment = Environment() + Words{"TMPDIR=" + (folder_ / "tmp").string()};
  const Outcome demo = Kelo({"demo", folder_ / "pictures"}, environment);
  EXPECT_EQ(demo.exitCode, 0) << demo.err;
  EXPECT_THAT(demo.out, AllOf(HasSubstr("caf?.jpg: "), HasSubstr("empty.jpg: "),
                              HasSubstr("OK: 4 files here already"),
                              EndsWith("OK: all 22 commands of the library were used\n")));
  EXPECT_THAT(Kelo({"demo", folder_ / "empty"}, environment).err, StartsWith("kelo-demo: "));
  KeloProcess aborted({"demo", folder_ / "pictures"}, environment, 80);
  ASSERT_TRUE(aborted.ReadErrorUntil("A local service runs")) << aborted.ErrorSoFar();
  EXPECT_FALSE(Names("tmp").empty());
  aborted.Type("\x03");
  EXPECT_EQ(aborted.Wait().exitCode, 130);
  EXPECT_THAT(Names("tmp"), ElementsAre());
}

}  // namespace
}  // namespace kelo::host::testing
