// What becomes of an upload where something fails.
#include <atomic>
#include <csignal>

#include "PutTest.h"

namespace kelo::host::testing {
namespace {

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

// The check's answer is the moment between planning and sending at which a file can vanish.
TEST_F(PutTest, SendsABatchAgainWithoutAFileThatVanished) {
  Write("in/a.jpg", "aaa");
  const fs::path vanishing = Write("in/b.jpg", "bbb");
  Write("in/c.jpg", "ccc");
  service_.SetScript([vanishing](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.apiMethod == "CheckUploadItems") fs::remove(vanishing);
    return std::nullopt;
  });
  const Outcome put = Put();
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("2 stored, 0 already there, 1 not stored\n"));
  EXPECT_THAT(put.err, HasSubstr("b.jpg: a file cannot be read, or has become shorter (4098)"));
  EXPECT_EQ(Arrived("UploadItems"), 1u);
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
  for (const auto& [name, done] : {std::pair("\"a.jpg\"", "0 of 2"), {"\"b.jpg\"", "1 of 2"}}) {
    const auto hangs = [name = std::string(name)](const LoggedRequest& request) {
      return request.apiMethod == "UploadItems" && request.body.find(name) != std::string::npos;
    };
    Refuse("UploadItems", {.silent = true}, hangs);
    KeloProcess kelo({"put", In(), "--albums-from-folders"}, Environment());
    ASSERT_TRUE(service_.WaitForRequest(hangs));
    kelo.Signal(SIGINT);
    const Outcome outcome = kelo.Wait();
    EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
    EXPECT_THAT(outcome.err, EndsWith(std::string("kelo: aborted: ") + done + " stored\n"));
  }
}

}  // namespace
}  // namespace kelo::host::testing
