// Uploads through the program.
#include <gmock/gmock.h>

#include <csignal>
#include <fstream>

#include "KeloProcess.h"

namespace kelo::host::testing {
namespace {

namespace fs = std::filesystem;
using devservice::LoggedRequest;
using devservice::Reply;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TransferTest : public HostTest {
 protected:
  TransferTest() { LogIn(); }
};

TEST_F(TransferTest, StoresAndFindsAgain) {
  const std::string one(100'000, 'a');
  const std::string two = std::string("\0\xFF\r\n--BOUNDARY--", 16) + std::string(999, 'b');
  Write("in/one.jpg", one);
  Write("in/below/t\xC3\xA9 & <two>.jpg", two);
  Write("in/.hidden", "h");
  ASSERT_EQ(Kelo({"mkdir", "Journeys"}).exitCode, 0);
  ASSERT_EQ(Kelo({"mkalbum", "Lis\"bon", "--folder", "Journeys"}).exitCode, 0);

  const Outcome first =
      Kelo({"put", (folder_ / "in").string(), "--album", "Lis\"bon", "--tags", "sea"});
  EXPECT_EQ(first.exitCode, 0) << first.err;
  EXPECT_THAT(first.out, EndsWith("2 stored, 0 already there, 0 not stored\n"));
  const Outcome second = Kelo({"put", (folder_ / "in").string(), "--album", "Lis\"bon"});
  EXPECT_EQ(second.exitCode, 0) << second.err;
  EXPECT_THAT(second.out, EndsWith("0 stored, 2 already there, 0 not stored\n"));
  EXPECT_THAT(second.out, HasSubstr("one.jpg: already in the album ["));
  EXPECT_EQ(Arrived("UploadItems"), 1u);

  const Outcome tree = Kelo({"tree", "--items"});
  EXPECT_THAT(tree.out, AllOf(HasSubstr("Journeys/"), HasSubstr("── Lis\"bon  ["),
                              HasSubstr("t\xC3\xA9 & <two>.jpg")));
}

// The check's answer is the moment between planning and sending at which a file can vanish.
TEST_F(TransferTest, SendsABatchAgainWithoutAFileThatVanished) {
  Write("in/a.jpg", "aaa");
  const fs::path vanishing = Write("in/b.jpg", "bbb");
  Write("in/c.jpg", "ccc");
  service_.SetScript([vanishing](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.apiMethod == "CheckUploadItems") fs::remove(vanishing);
    return std::nullopt;
  });
  const Outcome put = Kelo({"put", (folder_ / "in").string()});
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("2 stored, 0 already there, 1 not stored\n"));
  EXPECT_THAT(put.err, HasSubstr("b.jpg: a file cannot be read, or has become shorter (4098)"));
  EXPECT_EQ(Arrived("UploadItems"), 1u);
}

TEST_F(TransferTest, AMemoTravelsWithItsPictureOnly) {
  Write("in/dawn.jpg", "picture");
  Write("in/dawn.wav", "memo");
  Write("in/alone.wav", "lone memo");
  Write("in/other.jpg", "other");
  const Outcome first = Kelo({"put", (folder_ / "in").string()});
  EXPECT_THAT(first.out, EndsWith("3 stored, 0 already there, 1 not stored\n"));
  EXPECT_THAT(first.err, HasSubstr("alone.wav: a sound memo goes with the picture of its name"));
  fs::remove(folder_ / "in/alone.wav");
  Write("in/new.jpg", "new");  // must not take the memo along again
  const Outcome second = Kelo({"put", (folder_ / "in").string()});
  EXPECT_EQ(second.exitCode, 0) << second.err;
  EXPECT_THAT(second.out, EndsWith("1 stored, 3 already there, 0 not stored\n"));
}

TEST_F(TransferTest, CtrlCEndsAnUploadThatIsNotAnswered) {
  const fs::path file = Write("a.jpg", "aaa");
  service_.SetScript([](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.apiMethod == "UploadItems") return Reply{.silent = true};
    return std::nullopt;
  });
  KeloProcess kelo({"put", file.string()}, Environment());
  ASSERT_TRUE(service_.WaitForRequest(
      [](const auto& request) { return request.apiMethod == "UploadItems"; }));
  kelo.Signal(SIGINT);
  const Outcome outcome = kelo.Wait();
  EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
  EXPECT_EQ(outcome.out, "");
}

TEST_F(TransferTest, TheDemonstrationProvesEveryStepAndCleansUp) {
  Write("in/one.jpg", std::string(70'000, 'a'));
  Write("in/below/one.jpg", "another one");
  Write("in/below/one.wav", "memo");
  Write("in/caf\xE9.jpg", "a name that cannot travel");
  Write("in/Thumbs.db", "junk");
  fs::create_directory(folder_ / "tmp");
  fs::create_directory(folder_ / "empty");
  std::vector<std::string> environment = Environment();
  environment.push_back("TMPDIR=" + (folder_ / "tmp").string());
  const Outcome demo = KeloProcess({"demo", (folder_ / "in").string()}, environment).Wait();
  EXPECT_EQ(demo.exitCode, 0) << demo.out << demo.err;
  EXPECT_THAT(demo.out, EndsWith("OK: all 22 commands of the library were used\n"));
  EXPECT_EQ(KeloProcess({"demo", (folder_ / "empty").string()}, environment).Wait().exitCode, 1);
  EXPECT_THAT(Names("tmp"), IsEmpty());
}

}  // namespace
}  // namespace kelo::host::testing
