// What a terminal shows of a transfer, how a run ends by Ctrl-C, and output that nobody takes.
#include <unistd.h>

#include <csignal>
#include <tuple>

#include "HostTest.h"
#include "Screen.h"
#include "host/terminal/Columns.h"

namespace kelo::host::testing {
namespace {

using ::testing::SizeIs;

const std::string kCtrlC = "\x03";
const std::string kWide = "\u65E5\u672C";

// A name of many wide characters, and one of those that take no column of their own.
std::string WideName() {
  return Repeated(kWide + "e\u0301\U0001F600", 12) + ".jpg";
}

class TerminalTest : public HostTest {
 protected:
  TerminalTest() { LogIn(); }

  // An upload that has its first request stored and hangs in its second one, on the wide name.
  Words HangingUpload() {
    for (int i = 100; i < 200; ++i) Write("in/" + std::to_string(i) + ".jpg", std::to_string(i));
    Write("in/" + WideName(), "wide");
    AnswerWith({.silent = true}, "UploadItems", [](const ClientRequest& request) {
      return request.body.find("100.jpg") == std::string::npos;
    });
    return {"put", In(), "--transfers", "1"};  // the lines of the first request come before
  }
};

TEST_F(TerminalTest, ShowsOneLineOfProgressAndLeavesNothingOfIt) {
  const auto command = HangingUpload();
  // What comes from elsewhere ends the whole program, or nothing of it.
  const std::tuple<int, int, int> cases[] = {
      {20, SIGUSR1, 130},          {80, SIGCONT, 130},           {400, SIGCHLD, 130},
      {80, SIGURG, 130},           {80, SIGUSR2, 128 + SIGUSR2}, {80, SIGALRM, 128 + SIGALRM},
      {80, SIGTERM, 128 + SIGTERM}};
  for (const auto& [columns, signal, exitCode] : cases) {
    KeloProcess kelo(command, Environment(), columns);
    // The second request is under way. The narrow one has no room for a name.
    ASSERT_TRUE(kelo.ReadErrorUntil(columns == 20 ? "/199.jpg: " : kWide)) << kelo.ErrorSoFar();
    kelo.Signal(signal);
    if (exitCode == 130) {
      for (int drawn = 0; drawn < 2; ++drawn)
        ASSERT_TRUE(kelo.ReadErrorUntil("sending", kelo.ErrorSoFar().size()));
      kelo.Type(kCtrlC);
    }
    const Outcome outcome = kelo.Wait();
    EXPECT_EQ(outcome.exitCode, exitCode) << columns;
    if (signal == SIGUSR2 || signal == SIGALRM) continue;
    Screen screen(columns);
    screen.Show(outcome.err);
    const auto lines = screen.Lines();
    ASSERT_THAT(lines, SizeIs(101)) << columns << outcome.err;
    for (size_t at = 0; at < 100; ++at) {
      EXPECT_THAT(lines[at], StartsWith((folder_ / "in/1").string()));
      EXPECT_THAT(lines[at], Not(HasSubstr("sending")));
    }
    EXPECT_THAT(lines[100], StartsWith("kelo: aborted"));
  }
}

TEST_F(TerminalTest, FollowsTheTerminalsWidth) {
  constexpr size_t kNarrow = 30;
  const auto command = HangingUpload();
  const auto start = std::chrono::steady_clock::now();
  KeloProcess kelo(command, Environment(), 200);
  ASSERT_TRUE(kelo.ReadErrorUntil(kWide)) << kelo.ErrorSoFar();
  kelo.Resize(kNarrow);
  // One may be under way with the former width.
  constexpr int kDrawn = 8;
  for (int drawn = 0; drawn < kDrawn; ++drawn)
    ASSERT_TRUE(kelo.ReadErrorUntil("\x1b[J", kelo.ErrorSoFar().size()));
  const auto pauses = (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(100);
  EXPECT_LE(kDrawn, pauses + 2);
  const std::string& all = kelo.ErrorSoFar();
  const size_t end = all.rfind("\x1b[J");
  const size_t begin = all.rfind("\rsending", end);
  ASSERT_NE(begin, std::string::npos) << all;
  EXPECT_LT(Columns(all.substr(begin + 1, end - begin - 1)), kNarrow);
  kelo.Type(kCtrlC);
  EXPECT_EQ(kelo.Wait().exitCode, 130);
}

TEST_F(TerminalTest, WithoutATerminalThereAreFewPlainLinesIfAny) {
  ASSERT_EQ(Kelo({"put", Write("a.jpg", "aaa").string()}).exitCode, 0);
  AnswerWith({.body = std::string(3000, 'x'), .bytesPerSecond = 2000}, "/original/");
  EXPECT_EQ(Kelo({"get", "a.jpg", "--to", folder_ / "out"}).err, "");
  fs::remove_all(folder_ / "out");
  AnswerWith({.body = std::string(1 << 20, 'x'), .bytesPerSecond = 10'000}, "/original/");
  const auto begin = std::chrono::steady_clock::now();
  KeloProcess kelo({"get", "a.jpg", "--progress", "--to", folder_ / "out"}, Environment());
  ASSERT_TRUE(kelo.ReadErrorUntil("\nfetching 0/1, ")) << kelo.ErrorSoFar();  // the second line
  kelo.Signal(SIGINT);
  const std::string shown = kelo.Wait().err;
  const auto lines = std::count(shown.begin(), shown.end(), '\n') - 1;  // and that of the abort
  EXPECT_LE(lines, (std::chrono::steady_clock::now() - begin) / std::chrono::seconds(1)) << shown;
  EXPECT_THAT(shown, AllOf(StartsWith("fetching 0/1, "), HasSubstr("/s: a.jpg\n"),
                           Not(::testing::ContainsRegex("[\x01-\x09\x0B-\x1F]"))));
}

TEST_F(TerminalTest, FailsWhereNobodyTakesTheOutput) {
  const std::string picture = Write("a.jpg", "aaa").string();
  ASSERT_EQ(Kelo("mkalbum Party").exitCode, 0);
  ASSERT_EQ(Kelo({"put", picture, "--album", "Party"}).exitCode, 0);
  ASSERT_EQ(Kelo("mail Party --to a@x.example").exitCode, 0);
  std::vector<Words> commands = {{"put", picture},
                                 {"get", "a.jpg", "--to", folder_ / "out"},
                                 {"check", picture},
                                 "mail Party --to a@x.example"};
  for (const char* line : {"info a.jpg", "caption a.jpg x", "rate a.jpg 3", "tag a.jpg x",
                           "link Party a.jpg", "mkdir One", "mkalbum Two", "verify a@x.example"})
    commands.emplace_back(line);
  for (const char* line :
       {"login", "quota", "extend", "tree", "ls", "contacts", "demo", "completion zsh", "logout",
        "--help", "--version", "--man", "help ls", "ls --help"})
    commands.emplace_back(line);
  for (const auto& command : commands) {
    const Outcome outcome = KeloProcess(command, Environment(), 0, "/dev/full").Wait();
    EXPECT_EQ(outcome.exitCode, 1) << ::testing::PrintToString(command);
    EXPECT_THAT(outcome.err, HasSubstr(": cannot write to ")) << command[0];
  }
  EXPECT_EQ(KeloProcess("help ls", Environment(), 0, "").Wait().exitCode, 1);
}

TEST(ColumnsTest, NoTextIsWiderThanItsRoom) {
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const auto width = [](const std::string& text) {
    std::wstring wide(text.size() + 1, L'\0');
    wide.resize(std::mbstowcs(wide.data(), text.c_str(), wide.size()));
    return static_cast<size_t>(::wcswidth(wide.c_str(), wide.size()));
  };
  for (const std::string& text :
       {WideName(), std::string("IMG_1234.jpg"), std::string("\uFF21\uFF22\uFF23\uAC00\uAC01.png"),
        std::string("e\u0301\u0302\u0303te\u0301 \u00A9 \u2026 \u2764\uFE0F.tif"), std::string()}) {
    EXPECT_GE(Columns(text), width(text)) << text;
    for (size_t columns = 0; columns <= 90; ++columns) {
      const std::string fit = FitColumns(text, columns);
      EXPECT_LE(width(fit), columns) << text;
      if (width(text) + 2 < columns) EXPECT_EQ(fit, text) << columns;
      if (columns >= 20 && fit != text)
        EXPECT_THAT(fit, AllOf(HasSubstr("..."), EndsWith(text.substr(text.size() - 4))));
    }
  }
}

}  // namespace
}  // namespace kelo::host::testing
