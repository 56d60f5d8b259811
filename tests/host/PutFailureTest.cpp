// What becomes of an upload where something fails.
#include <fmt/format.h>

#include <atomic>
#include <csignal>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

// Whatever the service refuses a request for, the bad file ends up alone.
TEST_F(PutTest, ARefusedRequestIsHalvedUntilTheBadFileStandsAlone) {
  for (int i = 0; i < 40; ++i) Write("in/" + std::to_string(i) + ".jpg", "x");
  const auto hasBad = [](const ClientRequest& request) {
    return request.body.find("\"17.jpg\"") != std::string::npos;
  };
  struct Case {
    std::string method;
    Reply reply;
    std::string reason;
  };
  const Case cases[] = {
      {"UploadItems", {.closeAtOnce = true}, "(4129)"}, {"UploadItems", Refusal(301), "(4112)"},
      {"CheckUploadItems", Refusal(401), "(4112)"},     {"UploadItems", {.status = 413}, "(4103)"},
      {"UploadItems", Refusal(999), "(4144)"},
  };
  bool first = true;
  for (const Case& one : cases) {
    AnswerWith(one.reply, one.method, hasBad);
    service_.ClearArrived();
    const Outcome put = Put();
    EXPECT_EQ(put.exitCode, 1) << one.reason;
    EXPECT_THAT(put.out, EndsWith(first ? "39 stored, 0 already there, 1 not stored\n"
                                        : "0 stored, 39 already there, 1 not stored\n"));
    EXPECT_THAT(put.err, AllOf(HasSubstr("/17.jpg: "), HasSubstr(one.reason + "\n")));
    // The whole request and the file alone are tried again, the halves between them are not.
    if (first) EXPECT_EQ(Arrived("UploadItems"), 15u);
    first = false;
  }
}

// As the item would have been called before 'get' gave it a number.
TEST_F(PutTest, ALostQuestionByAnotherNameIsAskedAgain) {
  Set("a.jpg", "picture");
  ASSERT_EQ(Put().exitCode, 0);
  fs::rename(In() / "a.jpg", In() / "a (2).jpg");
  std::atomic<int> asked = 0;
  AnswerWith({.reset = true}, "CheckUploadItems", [&](const ClientRequest& request) {
    return request.body.find("\"a.jpg\"") != std::string::npos && ++asked == 1;
  });
  const Outcome put = Kelo({"put", In()}, Elsewhere());
  EXPECT_EQ(asked, 2);
  EXPECT_THAT(put.out, EndsWith("0 stored, 1 already there, 0 not stored\n")) << put.err;
}

// The check's answer is the moment between planning and sending at which a file can change. The
// third folder is looked at again behind the first.
TEST_F(PutTest, AFileThatChangesMeanwhileGoesWholeOrCostsOnlyItself) {
  struct Case {
    std::string file;
    int bytes;  // it has afterwards; none: it is gone
    int stored;
    std::string told;  // about a file that was not
    int storedAgain;
  };
  const std::string unreadable = ": a file cannot be read, or has become shorter (4098)\n";
  const Case cases[] = {{"in/A/a.jpg", 0, 6, unreadable, 0},
                        {"in/A/a.jpg", 1, 6, unreadable, 1},
                        {"in/A/a.jpg", 999, 6, ": it changed while it was sent", 1},
                        {"in/C/c.jpg", 0, 6, unreadable, 0},
                        {"in/C/c.jpg", 1, 7, "", 0},
                        {"in/C/c.jpg", 999, 7, "", 0}};
  for (size_t at = 0; at < std::size(cases); ++at) {
    const Case& one = cases[at];
    for (const char* name :
         {"A/a.jpg", "A/a2.jpg", "A/a3.jpg", "A/a4.jpg", "B/b.jpg", "C/c.jpg", "C/c2.jpg"})
      Write(std::string("in/") + name, std::string(10 + at, 'x'));
    std::atomic<bool> changed = false;
    service_.SetScript([&](const ClientRequest& request) -> std::optional<Reply> {
      if (request.method != "CheckUploadItems" || changed.exchange(true)) return std::nullopt;
      fs::remove(folder_ / one.file);
      if (one.bytes > 0) Write(one.file, std::string(static_cast<size_t>(one.bytes) + at, 'y'));
      return std::nullopt;
    });
    service_.ClearArrived();
    const Outcome put = Put("--albums-from-folders --transfers 1");
    EXPECT_THAT(put.out, HasSubstr(fmt::format("\n{} stored, 0 already", one.stored))) << put.err;
    EXPECT_EQ(put.exitCode, one.stored < 7 ? 1 : 0) << at;
    if (one.stored < 7) EXPECT_THAT(put.err, HasSubstr(one.file + one.told));
    EXPECT_EQ(Arrived("UploadItems"), 3u) << at;
    EXPECT_THAT(Put().out, HasSubstr(fmt::format("{} stored, ", one.storedAgain))) << at;
  }
}

// Told once, not for each file.
TEST_F(PutTest, AFailureThatIsNotForTheFilesIsToldOnce) {
  for (int i = 0; i < 120; ++i) Write("in/A/" + std::to_string(i) + ".jpg", "x");
  struct Case {
    std::string method;  // empty: every one
    Reply reply;
    const char* mode;
    std::string words;
    size_t arrived = 1;  // of it, at most
  };
  const Case cases[] = {
      {"", {.status = 504}, "--all-files", "not answer in time (4128)", 4},
      {"", {.status = 504}, "--albums-from-folders", "not answer in time (4128)", 4},
      {"GetHierarchy", Refusal(107), "--albums-from-folders", "'kelo login' (4116)"},
      {"GetHierarchy", {.status = 500}, "--albums-from-folders", "(4114)"},
      {"AddAlbum", Refusal(301), "--albums-from-folders", "request was refused (4112)"},
      {"UploadItems", Refusal(999), "--all-files", "(4144)", 20},  // five files in a row failed
  };
  for (const Case& one : cases) {
    AnswerWith(one.reply, one.method);
    service_.ClearArrived();
    const Outcome put = Put(Words{one.mode, "--transfers", "1"});
    EXPECT_EQ(put.exitCode, 1) << one.words;
    EXPECT_THAT(put.out, EndsWith("0 stored, 0 already there, 120 not stored\n"));
    EXPECT_THAT(put.err, AllOf(HasSubstr(" files not sent: "), HasSubstr(one.words)));
    EXPECT_LT(put.err.size(), 1000u) << put.err;
    EXPECT_LE(Arrived(one.method), one.arrived) << one.words;
  }
  AnswerWith(Refusal(999), "CheckUploadItems");
  const Outcome preview = Put("--dry-run");
  EXPECT_EQ(preview.exitCode, 1);
  EXPECT_THAT(preview.out, EndsWith("0 would be stored, 0 already there, 120 not stored\n"));
}

class FullStorageTest : public PutTest {
 protected:
  FullStorageTest() : PutTest({.quotaBytes = 1000}) {}
};

TEST_F(FullStorageTest, WhatStillFitsIsSent) {
  Write("in/1.jpg", std::string(600, '1'));
  ASSERT_EQ(Put().exitCode, 0);
  EXPECT_EQ(Kelo("-q quota").out, "600 bytes of 1.0 kB used (60.0 %)\n");
  Write("in/2.jpg", std::string(500, '2'));
  Write("in/3.jpg", std::string(300, '3'));
  Write("in/4.jpg", std::string(200, '4'));
  Write("in/4.wav", std::string(50, 'm'));
  Write("in/5.jpg", std::string(100, '5'));  // to the last byte
  const Outcome preview = Put("--album All --dry-run");
  EXPECT_EQ(preview.exitCode, 1);
  EXPECT_THAT(preview.err, HasSubstr("the album All would be made\n"));
  EXPECT_THAT(preview.out, AllOf(HasSubstr("1.jpg: is there, and would be placed in All\n"),
                                 HasSubstr("3.jpg: would be stored, 300 bytes\n"),
                                 EndsWith("\n2 would be stored, 1 were there and would be placed "
                                          "in All, 3 not stored\n")));
  EXPECT_EQ(Arrived("AddAlbum"), 0u);
  const Outcome put = Put("--album All --transfers 1");
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("2 stored, 1 were there and are now in All, 3 not stored\n"));
  for (const char* name : {"2.jpg", "4.jpg", "4.wav"})
    EXPECT_THAT(put.err, HasSubstr(std::string(name) + ": the account's storage is full (4102)\n"));
  EXPECT_THAT(Put("--json").out, HasSubstr("\"message\":\"the account's storage is full\""));
}

TEST_F(PutTest, CtrlCSaysWhatWasDone) {
  Write("in/A/a.jpg", "aaa");
  Write("in/B/b.jpg", "bbb");
  for (const auto& [name, done] : {std::pair("", 0), {"\"b.jpg\"", 1}}) {
    service_.ClearArrived();
    const char* const transfers = *name == '\0' ? "2" : "1";
    AnswerWith({.silent = true}, "UploadItems",
               [name = std::string(name)](const ClientRequest& request) {
                 return request.body.find(name) != std::string::npos;
               });
    KeloProcess kelo({"put", In(), "--albums-from-folders", "--transfers", transfers, "--json"},
                     Environment());
    ASSERT_TRUE(WaitFor("UploadItems", name));
    kelo.Signal(SIGINT);
    const Outcome outcome = kelo.Wait();
    EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
    EXPECT_THAT(outcome.err, EndsWith(fmt::format("kelo: aborted: {} of 2 stored\n", done)));
    EXPECT_THAT(outcome.err, Not(HasSubstr("not stored")));
    nlohmann::json summary = Summary(outcome.out);
    EXPECT_EQ(summary["stored"], done);
    EXPECT_EQ(summary["exitCode"], 130);
  }
}

}  // namespace
}  // namespace kelo::host::testing
