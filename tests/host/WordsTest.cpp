// What the program says about itself and about failures: help, hints, suggestions, codes.

#include "HostTest.h"
#include "commandline/Suggest.h"
#include "host/program/ShellWords.h"
#include "host/terminal/Output.h"

namespace kelo::host::testing {
namespace {

TEST(SuggestTest, TakesTheNearestNameAndNoFarOne) {
  const std::vector<std::string> known = {"put",    "get",   "mkdir", "mkalbum", "Harbour",
                                          "桜の庭", "Äpfel", "q",     ""};
  const std::pair<std::string, std::string> cases[] = {{"pt", "put"},
                                                       {"puut", "put"},
                                                       {"gte", "get"},
                                                       {"GETT", "get"},
                                                       {"mkalbm", "mkalbum"},
                                                       {"mkdri", "mkdir"},
                                                       {"hrabuor", "Harbour"},
                                                       {"桜の店", "桜の庭"},
                                                       {"äpfle", "Äpfel"},
                                                       {"upload", ""},
                                                       {"Harb", ""},
                                                       {"xyz", ""},
                                                       {"x", ""},
                                                       {"", ""},
                                                       {"\xff\xfe", ""}};
  for (const auto& [wanted, closest] : cases)
    EXPECT_EQ(Closest(wanted, known).value_or(""), closest) << wanted;
  EXPECT_EQ(Closest("ab", {"ac", "aab", "ab"}), "ab");
}

TEST(ShellWordsTest, UndoesAndDoesWhatBashQuotes) {
  struct Case {
    std::vector<std::string> typed;
    std::string last;
    std::string candidate;
    std::string put;  // by bash in the place of the typed word's end
  };
  const Case cases[] = {
      {{"get", ""}, "", "a b", "a\\ b"},
      {{"get", "My\\ A"}, "My A", "My Album", "My\\ Album"},
      {{"get", "'it'\\''s"}, "it's", "it's me", "s me"},
      {{"get", "\"a\\$\\x"}, "a$\\x", "a$\\x\"", "a\\$\\\\x\\\""},
      {{"get", "Jour\"ne"}, "Journe", "Journeys", "neys"},
      {{"get", "--to", "=", "x"}, "--to=x", "--to=xy", "xy"},
      {{"get", "--to", "="}, "--to=", "--to=a b", "a\\ b"},
      {{"get", "Trip", ":", "\\ one"}, "Trip: one", "Trip: one two", "\\ one\\ two"},
      {{"get", "Trip", ":", "'"}, "Trip:", "Trip: it's", " it'\\''s"},
      {{"get", "a", "@", "b", "c"}, "c", "c", "c"},
  };
  for (const Case& one : cases) {
    const ShellWords words = FromBash(one.typed);
    EXPECT_EQ(words.words.back(), one.last);
    EXPECT_EQ(ForBash(one.candidate, words), one.put) << one.last;
  }
}

class WordsTest : public HostTest {};

TEST_F(WordsTest, PointsToWhatWasMeantAndWhereToReadOn) {
  struct Case {
    std::vector<std::string> command;
    std::string error;
  };
  const Case cases[] = {
      {{"ptu"}, "kelo: there is no command 'ptu'; did you mean 'put'?\nsee 'kelo help'\n"},
      {{"upload"}, "kelo: there is no command 'upload'\nsee 'kelo help'\n"},
      {{"help", "gte"}, "kelo: there is no command 'gte'; did you mean 'get'?\nsee 'kelo help'\n"},
      {{"put", "x", "--albm=y"},
       "kelo: there is no option '--albm'; did you mean '--album'?\nsee 'kelo help put'\n"},
      {{"put", "-rf.jpg"}, "kelo: there is no option '-rf.jpg'\nsee 'kelo help put'\n"},
      {{"ls", "--sort", "2"}, "kelo: --sort: 2 not in {name,shot,upload}\nsee 'kelo help ls'\n"},
      {{"-q", "quota", "x"}, "kelo: unexpected argument 'x'\nsee 'kelo help quota'\n"},
      {{"mail", "x"}, "kelo: --to is required\nsee 'kelo help mail'\n"},
      {{"rate", "id"}, "kelo: N is required\nsee 'kelo help rate'\n"},
      {{"rate", "id", "six"},
       "kelo: N: 'six' is no number between 0 and 5\nsee 'kelo help rate'\n"},
      {{"login", "--key", std::string(33, 'k')},
       "kelo: --key: is longer than 32 characters\nsee 'kelo help login'\n"},
      {{"login", "--token", "to"},
       "kelo: --token: is shorter than 8 characters\nsee 'kelo help login'\n"},
      {{"caption", "id", std::string(320, 'c')},
       "kelo: TEXT: 'cccccccccccccccccccc...' is longer than 319 bytes\nsee 'kelo help caption'\n"},
  };
  for (const Case& one : cases) {
    const Outcome outcome = Kelo(one.command);
    EXPECT_EQ(outcome.exitCode, 2) << outcome.err;
    EXPECT_EQ(outcome.err, one.error);
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(Kelo({}).exitCode, 2);
  const Outcome help = Kelo({"help", "put"});
  EXPECT_EQ(help.exitCode, 0) << help.err;
  EXPECT_THAT(help.out, StartsWith("Usage: kelo put "));
  EXPECT_EQ(help.out, Kelo({"put", "--help"}).out);
  EXPECT_EQ(Kelo({"help"}).out, Kelo({"--help"}).out);
  EXPECT_EQ(service_.RequestCount(), 0u);
}

TEST_F(WordsTest, MakesASecondOneOfANameOnlyWhenForced) {
  LogIn();
  ASSERT_EQ(Kelo({"mkdir", "Q"}).exitCode, 0);
  std::string longName;  // 400 bytes of references at the service
  for (int i = 0; i < 50; ++i) longName += "桜";
  ASSERT_EQ(Kelo({"mkalbum", longName}).exitCode, 0);
  EXPECT_EQ(Kelo({"mkalbum", longName}).exitCode, 1);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"mkdir"}, {"mkalbum"}, {"mkalbum", "--folder", "Q"}}) {
    const auto make = [&](std::initializer_list<const char*> rest) {
      std::vector<std::string> words = command;
      words.insert(words.end(), rest.begin(), rest.end());
      return Kelo(words);
    };
    EXPECT_EQ(make({"Q & \"A\"", "桜"}).exitCode, 0);
    const Outcome again = make({"桜", "Third", "Third"});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_THAT(again.err, AllOf(HasSubstr("cannot create '桜': it is there already, with the id "),
                                 HasSubstr("cannot create 'Third': it is named twice; --force")));
    EXPECT_THAT(again.out, AllOf(HasSubstr("  Third\n"), Not(HasSubstr("桜"))));
    const Outcome forced = make({"桜", "--force", "--json"});
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    const Json object = Json::parse(forced.out);
    EXPECT_EQ(object["name"], "桜");
    EXPECT_EQ(object["kind"], command[0] == "mkdir" ? "folder" : "album");
    EXPECT_EQ(object["parentId"].is_null(), command.size() == 1);
    const Json refused = Json::parse(make({"桜", "--json"}).out);
    EXPECT_THAT(refused["error"]["message"], HasSubstr("--force"));
  }
  EXPECT_EQ(Arrived("AddAlbum") + Arrived("AddFolder"), 2u + 3 * 4);
  // A path is one, unless it is said that it is none.
  EXPECT_EQ(Kelo({"mkalbum", "q/Slash/", "Slash", "/Top/"}).exitCode, 0);
  EXPECT_THAT(Kelo({"ls", "Q/"}).out, HasSubstr("  Slash\n"));
  EXPECT_EQ(Kelo({"mkalbum", "AC/DC"}).err,
            "kelo: there is no folder 'AC'; --force makes 'AC/DC' at the top\n");
  EXPECT_EQ(Kelo({"mkdir", "Q/R"}).err,
            "kelo: folders hold albums alone; --force makes 'Q/R' at the top\n");
  EXPECT_EQ(Kelo({"mkalbum", "AC/DC", "--force"}).exitCode, 0);
  EXPECT_THAT(Kelo({"ls"}).out, AllOf(HasSubstr("  AC/DC\n"), HasSubstr("  Top\n")));
}

TEST_F(WordsTest, CompletesNothingWhereTheAccountCannotBeAsked) {
  EXPECT_EQ(Kelo({"__complete", "zsh", "ls", ""}).out, "names\n");  // no session
  LogIn();
  ASSERT_EQ(Kelo({"mkalbum", "Harbour", "Harbour "}).exitCode, 0);
  ASSERT_EQ(Kelo({"mkdir", "Twice", "Twice", "--force"}).exitCode, 0);
  EXPECT_EQ(Kelo({"__complete", "bash", "ls", "Ha"}).out, "names\nHarbour\nHarbour\\ \n");
  EXPECT_EQ(Kelo({"__complete", "bash", "ls", "Tw"}).out, "names\n");  // leads to neither
  const std::string twin = Write("twin.jpg", "x").string();
  for (const std::string& file : {twin, twin, Write("one.jpg", "x").string()})
    ASSERT_EQ(Kelo({"put", file, "--force", "--album", "Harbour"}).exitCode, 0);
  EXPECT_EQ(Kelo({"__complete", "bash", "get", "Harbour/"}).out, "names\nHarbour/one.jpg\n");
  service_.SetScript([](const auto&) { return devservice::Reply{.closeAtOnce = true}; });
  service_.ClearLog();
  const Outcome failed = Kelo({"__complete", "zsh", "ls", ""});
  EXPECT_EQ(service_.RequestCount(), 1u);
  EXPECT_EQ(failed.exitCode, 0);
  EXPECT_EQ(failed.out + failed.err, "names\n");
}

// The demonstration proves its steps by itself; here it gets pictures that are not made for it.
class DemoTest : public HostTest {
 protected:
  // Its temporary files go to "tmp".
  std::vector<std::string> TemporaryEnvironment() const {
    std::vector<std::string> environment = Environment();
    environment.push_back("TMPDIR=" + (folder_ / "tmp").string());
    return environment;
  }
  Outcome Demo(const std::string& pictures) const {
    return KeloProcess({"demo", (folder_ / pictures).string()}, TemporaryEnvironment()).Wait();
  }
};

TEST_F(DemoTest, ProvesEveryStepAndCleansUp) {
  std::string longName;  // the catalogue cuts it
  for (int i = 0; i < 50; ++i) longName += "桜";
  for (const std::string& name :
       {std::string("one.jpg"), std::string("below/one.jpg"), std::string("below/one.wav"),
        longName + ".jpg", std::string("caf\xE9.jpg"), std::string("Thumbs.db")})
    Write("pictures/" + name, "content of " + name);
  Write("pictures/empty.jpg", "");
  fs::create_directory(folder_ / "tmp");
  fs::create_directory(folder_ / "empty");
  const Outcome demo = Demo("pictures");
  EXPECT_EQ(demo.exitCode, 0) << demo.err;
  EXPECT_THAT(demo.out, AllOf(HasSubstr("caf?.jpg: "), HasSubstr("empty.jpg: "),
                              HasSubstr("OK: 4 files here already"),
                              EndsWith("OK: all 22 commands of the library were used\n")));
  EXPECT_EQ(Demo("empty").exitCode, 1);
  KeloProcess aborted({"demo", (folder_ / "pictures").string()}, TemporaryEnvironment(), 80);
  ASSERT_TRUE(aborted.ReadErrorUntil("A local service runs")) << aborted.ErrorSoFar();
  EXPECT_FALSE(Names("tmp").empty());
  aborted.Type("\x03");
  EXPECT_EQ(aborted.Wait().exitCode, 130);
  EXPECT_THAT(Names("tmp"), ElementsAre());
}

}  // namespace
}  // namespace kelo::host::testing
