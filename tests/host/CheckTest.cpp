// Whether files here and items there agree: as this machine knows it, as another one takes it, and
// by the bytes.
#include <csignal>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

constexpr const char* kMemory = "elsewhere/.local/state/kelo/memory";

class CheckTest : public PutTest {
 protected:
  CheckTest() {
    Reset();
    EXPECT_EQ(Put("--album Lisbon").exitCode, 0);
    fs::current_path(In());
  }
  ~CheckTest() override { fs::current_path("/"); }

  void Reset() const {
    for (const auto& entry : fs::directory_iterator(fs::create_directory(In()) ? In() : In()))
      fs::remove_all(entry);
    Set("a.jpg", "first");
    Set("s.jpg", "stays");
    Set("s.wav", "its memo");
  }

  // The lines, and the exit code by them. Nothing is stored, and nothing left behind.
  std::string Check(const Words& more, const Words& environment) {
    service_.ClearArrived();
    const Outcome check = Kelo("check" + more, environment);
    EXPECT_EQ(Arrived("UploadItems"), 0u);
    const bool agree = check.out.find(" the same, 0 changed, 0 only here, 0 only there\n") < 3;
    EXPECT_EQ(check.exitCode, agree ? 0 : 1) << check.out << check.err;
    return check.out;
  }
};

TEST_F(CheckTest, TellsWhatDiffers) {
  const std::string same = "3 the same, 0 changed, 0 only here, 0 only there\n";
  const std::string taken =
      "2 the same, 0 changed, 0 only here, 0 only there, 1 could not be compared\n";
  const std::string apart = "only there: Lisbon/a.jpg\n";
  struct Case {
    const char* what;
    std::function<void()> change;
    std::string here, elsewhere, downloaded;
  };
  const Case cases[] = {
      {"nothing", [] {}, same, taken, same},
      {"the bytes, and not the date", [&] { Set("a.jpg", "FIRST"); },
       "changed: a.jpg\n2 the same, 1 changed, 0 only here, 0 only there\n", taken,
       "changed: a.jpg\n2 the same, 1 changed, 0 only here, 0 only there\n"},
      {"the date", [&] { Set("a.jpg", "first", 5); }, same,
       "only here: a.jpg\n" + apart +
           "1 the same, 0 changed, 1 only here, 1 only there, 1 could not be compared\n",
       same},
      {"the name", [&] { fs::rename("a.jpg", "z.jpg"); }, same,
       "only here: z.jpg\n" + apart +
           "1 the same, 0 changed, 1 only here, 1 only there, 1 could not be compared\n",
       "only here: z.jpg\n" + apart + "2 the same, 0 changed, 1 only here, 1 only there\n"},
      {"the name, as get does", [&] { fs::rename("a.jpg", "a (2).jpg"); }, same, taken, same},
      {"one more", [&] { Set("b.jpg", "more"); },
       "only here: b.jpg\n3 the same, 0 changed, 1 only here, 0 only there\n",
       "only here: b.jpg\n2 the same, 0 changed, 1 only here, 0 only there, 1 could not be "
       "compared\n",
       "only here: b.jpg\n3 the same, 0 changed, 1 only here, 0 only there\n"},
      {"one less", [&] { fs::remove("a.jpg"); },
       apart + "2 the same, 0 changed, 0 only here, 1 only there\n",
       apart + "1 the same, 0 changed, 0 only here, 1 only there, 1 could not be compared\n",
       apart + "2 the same, 0 changed, 0 only here, 1 only there\n"},
      {"a copy, and one that only looks like it",
       [&] {
         Set("copy/a.jpg", "first");
         Set("lookalike/a.jpg", "FIRST");
       },
       "changed: lookalike/a.jpg\n4 the same, 1 changed, 0 only here, 0 only there\n",
       "changed: lookalike/a.jpg\n3 the same, 1 changed, 0 only here, 0 only there, 1 could not be "
       "compared\n",
       "changed: lookalike/a.jpg\n4 the same, 1 changed, 0 only here, 0 only there\n"}};
  for (const Case& one : cases) {
    Reset();
    one.change();
    EXPECT_EQ(Check("Lisbon", Environment()), one.here) << one.what;
    EXPECT_EQ(Arrived("CheckUploadItems"), 0u) << one.what;
    Elsewhere();
    fs::remove_all(folder_ / kMemory);
    for (int time = 0; time < 2; ++time)
      EXPECT_EQ(Check("Lisbon", Elsewhere()), one.elsewhere) << one.what;
    EXPECT_EQ(Check("Lisbon --download", Elsewhere()), one.downloaded) << one.what;
    EXPECT_EQ(Check("Lisbon", Elsewhere()), one.downloaded) << one.what;  // it has been learnt
    EXPECT_EQ(Arrived("/original/"), 0u) << one.what;
  }
}

TEST_F(CheckTest, AsksAboutWhatIsNamed) {
  Set("b.jpg", "more");
  ASSERT_EQ(Kelo("put b.jpg --album Party").exitCode, 0);
  struct Case {
    Words named;
    std::string out;
    int exitCode = 0;
  };
  const Case cases[] = {
      {"", "4 the same, 0 changed, 0 only here\n"},
      {"a.jpg ./s.jpg -q", "2 the same, 0 changed, 0 only here\n"},
      {"--all", "4 the same, 0 changed, 0 only here, 0 only there\n"},
      {"a.jpg ./s.jpg b.jpg --all",
       "only there: Lisbon/s.wav\n3 the same, 0 changed, 0 only here, 1 only there\n", 1},
      {"Lisbon --all", "", 2},
      {"Lisbon --exclude s*",
       "only here: b.jpg\n1 the same, 0 changed, 1 only here, 0 only there\n", 1},
      {"nowhere", "", 1},
      {"b.jpg Lisbon/s.jpg nowhere",
       "only here: b.jpg\nonly there: Lisbon/s.jpg\n"
       "0 the same, 0 changed, 1 only here, 1 only there\n",
       1},
      {"b.jpg Party nowhere", "1 the same, 0 changed, 0 only here, 0 only there\n", 1},
      {"b.jpg Party Party/ /Party/b.jpg", "1 the same, 0 changed, 0 only here, 0 only there\n"}};
  for (const Case& one : cases) {
    const Outcome check = Kelo("check" + one.named);
    EXPECT_EQ(check.out, one.out) << ::testing::PrintToString(one.named) << check.err;
    EXPECT_EQ(check.exitCode, one.exitCode) << ::testing::PrintToString(one.named);
  }
  // What is the same by its bytes alone is no more than that to the next upload.
  fs::rename("a.jpg", "z.jpg");
  EXPECT_EQ(Kelo("check z.jpg").exitCode, 0);
  EXPECT_THAT(Kelo("put z.jpg").out, HasSubstr("z.jpg: stored"));
}

TEST_F(CheckTest, WhatCannotBeToldIsNoDifferenceAndLeavesNothing) {
  Set("empty.jpg", "");
  struct Case {
    Words options;
    std::string method;
    Reply reply;
    std::string told;
  };
  const Case cases[] = {
      {"--download", "/original/", {.status = 404}, "a.jpg: its item cannot be downloaded: "},
      {"--download", "/original/", {.body = "fir", .cutAfter = 2}, "a.jpg: its item cannot be do"},
      {"", "CheckUploadItems", {.status = 503}, "a.jpg: "},
      {"", "CheckUploadItems", Refusal(999), "a.jpg: "}};
  for (const Case& one : cases) {
    AnswerWith(one.reply, one.method);
    const Outcome check = Kelo("check Lisbon --retries 0" + one.options, Elsewhere());
    EXPECT_EQ(check.exitCode, 1);
    EXPECT_EQ(check.out,
              "0 the same, 0 changed, 0 only here, 0 only there, 4 could not be compared\n");
    EXPECT_THAT(check.err, AllOf(HasSubstr("kelo: " + one.told), HasSubstr("kelo: s.wav: "),
                                 HasSubstr("kelo: empty.jpg: it is empty")));
  }
  const Words known = Names(kMemory);
  AnswerWith({.body = std::string(1 << 20, 'x'), .bytesPerSecond = 10'000}, "/original/");
  KeloProcess kelo("check Lisbon --download", Elsewhere());
  ASSERT_TRUE(WaitFor("/original/"));
  kelo.Signal(SIGINT);
  const Outcome aborted = kelo.Wait();
  EXPECT_EQ(aborted.exitCode, 130);
  EXPECT_EQ(aborted.out, "");
  EXPECT_EQ(Names(kMemory), known);
}

}  // namespace
}  // namespace kelo::host::testing
