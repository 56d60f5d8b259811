// Uploads whose answers never come, and files of one name, size and date: at the end the account
// holds each content once, where it was meant to be, and nothing was called there that is not.
#include <fmt/format.h>

#include <csignal>
#include <set>
#include <thread>

#include "HostTest.h"

namespace kelo::host::testing {
namespace {

struct Step {
  std::vector<std::pair<const char*, const char*>> files;  // that are set before
  const char* put = "";                                    // its options; a folder below in/ first
  std::vector<const char*> faults{};                       // of UploadItems
  const char* sums = nullptr;
  bool ends = false;       // the run is killed behind its last request, which is not answered
  bool elsewhere = false;  // on another machine
  bool checks = false;     // kelo check runs before
};

struct Case {
  const char* name;
  std::vector<Step> steps;
  std::multiset<std::string> holds;  // albums and contents, as another machine gets them
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << one.name;
}

const char* const kLost = "cut,times=1";
const char* const kNeverCame = "reset,times=1";
const char* const kWaits = "delay=60000,times=1";
const char* const kAlbums = ". --albums-from-folders";

const Case kCases[] = {
    {"Plain",
     {{{{"a", "one"}, {"b", "two"}}, ".", {kLost}, "2 stored, 0 already"},
      {{}, ".", {}, "0 stored, 2 already"}},
     {"one", "two"}},
    {"Forced",
     {{{{"a", "one"}}, ".", {}}, {{}, ". --force", {kLost}, "1 stored, 0 already"}},
     {"one", "one"}},
    {"ForcedIntoAlbums",
     {{{{"A/a", "one"}, {"B/a", "one"}, {"C/a", "one"}, {"D/a", "one"}},
       ". --force --albums-from-folders",
       {"cut,times=4"},
       "4 stored, 0 already"}},
     {"A/one", "B/one", "C/one", "D/one"}},
    {"ForcedBesideAnotherMachine",
     {{{{"a", "one"}}, ". --album X", {}, nullptr, false, true},
      {{}, ". --force --album Y", {kNeverCame}, "1 stored, 0 already"}},
     {"X/one", "Y/one"}},
    {"Edited",
     {{{{"a", "one"}}, "."},
      {{{"a", "two"}}, ".", {kLost}, "1 stored, 0 already"},
      {{{"a", "six"}}, ".", {kWaits}, nullptr, true},
      {{}, ".", {}, "0 stored, 1 already"}},
     {"one", "two", "six"}},
    {"EditedWhileNobodyKnew",
     {{{{"a", "one"}}, ".", {kWaits}, nullptr, true},
      {{{"a", "two"}}, ".", {}, "1 stored, 0 already"},
      {{{"a", "one"}}, ".", {}, "0 stored, 1 already"}},
     {"one", "two"}},
    {"EditedAfterNothingCame",
     {{{{"a", "one"}}, ". --retries 0", {kNeverCame}, "0 stored, 0 already"},
      {{{"a", "two"}}, ".", {kLost}, "1 stored, 0 already"},
      {{{"a", "one"}}, ".", {}, "1 stored, 0 already"}},
     {"two", "one"}},
    {"EditedAfterARefusal",
     {{{{"a", "one"}}, ".", {"full,times=1"}, "0 stored, 0 already"},
      {{{"a", "two"}}, ".", {kLost}, "1 stored, 0 already"}},
     {"two"}},
    {"Lookalikes",
     {{{{"A/a", "one"}, {"B/a", "two"}, {"C/a", "six"}, {"D/a", "ten"}, {"E/a", "two"}},
       kAlbums,
       {"cut,times=4"},
       "4 stored, 1 were there and are now in E"},
      {{}, kAlbums, {}, "0 stored, 5 already"}},
     {"A/one", "B/two", "C/six", "D/ten", "E/two"}},
    {"LookalikesInOneRequest",
     {{{{"A/a", "one"}, {"B/a", "two"}, {"C/a", "six"}}, ".", {kWaits}, nullptr, true},
      {{}, ".", {}, "0 stored, 3 already"}},
     {"one", "two", "six"}},
    {"LookalikeOfOneThatNobodyKnows",
     {{{{"A/a", "one"}, {"B/a", "two"}}, "A --album A", {kWaits}, nullptr, true},
      {{}, "B --album B", {}, "1 stored, 0 already"},
      {{}, kAlbums, {}, "0 stored, 2 already"}},
     {"A/one", "B/two"}},
    {"Memo",
     {{{{"a", "one"}}, "."},
      {{{"a.wav", "two"}}, ".", {kLost}, "1 stored, 1 already"},
      {{{"a.wav", "six"}}, ".", {kWaits}, nullptr, true},
      {{}, ".", {}, "0 stored, 2 already"},
      {{{"a.wav", "two"}}, ".", {}, "0 stored, 2 already"}},
     {"one", "two", "six"}},
    {"CheckedBetween",
     {{{{"a", "one"}}, ".", {kWaits}, nullptr, true},
      {{{"a", "two"}}, ".", {}, "1 stored, 0 already", false, false, true}},
     {"one", "two"}},
    {"EditedBesideALookalike",
     {{{{"A/a", "one"}}, "."},
      {{{"B/a", "two"}}, ".", {kWaits}, nullptr, true},
      {{{"A/a", "six"}}, ".", {}, "1 stored, 1 already"}},
     {"one", "two", "six"}},
    {"ForcedBesideOneThatNobodyKnows",
     {{{{"a", "one"}}, ".", {kWaits}, nullptr, true},
      {{}, ". --force", {}, "1 stored, 0 already"},
      {{{"a", "two"}}, ".", {}, "1 stored, 0 already"}},
     {"one", "one", "two"}},
    {"NumberedLikeOneThatNobodyKnows",
     {{{{"A/a", "one"}}, ".", {kWaits}, nullptr, true},
      {{{"B/a (2)", "two"}}, "B", {}, "1 stored, 0 already"}},
     {"one", "two"}},
    {"MemoOfAnEditedPicture",
     {{{{"B/a", "one"}, {"B/a.wav", "two"}}, "."},
      {{{"B/a", "six"}}, ".", {}, "2 stored, 0 already"},
      {{{"A/a", "ten"}}, ".", {}, "1 stored, 2 already"},
      {{{"A/a.wav", "sun"}}, ".", {}, "1 stored, 3 already"},
      {{}, ".", {}, "0 stored, 4 already"}},
     {"one", "two", "six", "two", "ten", "sun"}},
    {"MemosOfAnotherMachine",
     {{{{"A/a", "one"}, {"A/a.wav", "two"}, {"B/a", "six"}}, ".", {}, nullptr, false, true},
      {{{"B/a.wav", "ten"}}, ".", {}, "1 stored, 3 already"},
      {{}, ".", {}, "0 stored, 4 already"}},
     {"one", "two", "six", "ten"}},
    {"CopiesWithMemos",
     {{{{"A/a", "one"}, {"A/a.wav", "two"}, {"B/a", "one"}, {"B/a.wav", "two"}},
       kAlbums,
       {},
       "2 stored, 2 were there and are now in B"},
      {{}, kAlbums, {}, "0 stored, 4 already"}},
     {"A/one", "A/two", "B/one", "B/two"}},
    {"PicturesWithMemos",
     {{{{"a", "one"}, {"a.wav", "two"}, {"b", "six"}, {"b.wav", "ten"}, {"c", "sun"}},
       ". --album Party",
       {"cut,times=2"},
       "5 stored, 0 already"},
      {{}, ". --album Party", {}, "0 stored, 5 already"}},
     {"Party/one", "Party/two", "Party/six", "Party/ten", "Party/sun"}},
};

class LostAnswerTest : public PutTest,
                       public ::testing::WithParamInterface<std::tuple<Case, const char*>> {
 protected:
  void Do(const Step& step) {
    for (const auto& [name, content] : step.files)
      Set(std::string(name) + (std::string_view(name).ends_with(".wav") ? "" : ".jpg"), content);
    for (const char* fault : step.faults) service_.AddFault(std::string("UploadItems:") + fault);
    Words put = Words{"put"} + Words(step.put) + Words{"--transfers", std::get<1>(GetParam())};
    put[1] = (In() / put[1]).lexically_normal();
    const Words environment = step.elsewhere ? Elsewhere() : Environment();
    if (step.ends) return Kill(put);
    if (step.checks) EXPECT_EQ(Kelo({"check", In()}).exitCode, 1);
    const Outcome outcome = Kelo(put, environment);
    if (step.sums != nullptr) EXPECT_THAT(outcome.out, HasSubstr(step.sums)) << outcome.err;
    service_.ClearFaults();
  }

  // When the service has what the last request brought. Asked on another session: a call id that is
  // taken would use up the fault.
  void Kill(const Words& put) {
    const Words there = Elsewhere();
    const auto stored = [&] { return Kelo("quota", there).out; };
    const std::string before = stored();
    KeloProcess kelo(put, Environment());
    for (int waited = 0; stored() == before && waited < 1000; ++waited)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    kelo.Signal(SIGKILL);
    kelo.Wait();
    service_.ClearFaults();
  }
};

TEST_P(LostAnswerTest, StoresEachContentOnceWhereItBelongs) {
  const auto& [name, steps, holds] = std::get<0>(GetParam());
  for (const Step& step : steps) Do(step);
  const fs::path out = folder_ / "out";
  EXPECT_EQ(Kelo({"get", "--all", "--to", out}, Elsewhere()).exitCode, 0);
  std::multiset<std::string> held;
  for (const auto& entry : fs::recursive_directory_iterator(out))
    if (entry.is_regular_file()) {
      const std::string album = entry.path().parent_path().lexically_relative(out).string();
      held.insert((album == "." ? "" : album + "/") + ReadFile(entry.path()));
    }
  EXPECT_EQ(held, holds);
}

INSTANTIATE_TEST_SUITE_P(Cases, LostAnswerTest,
                         ::testing::Combine(::testing::ValuesIn(kCases),
                                            ::testing::Values("1", "4")),
                         [](const auto& one) {
                           return std::get<0>(one.param).name + std::string(std::get<1>(one.param));
                         });

// What cannot be found out costs only its file.
TEST_F(PutTest, AFileInDoubtThatCannotBeComparedCostsOnlyItself) {
  Set("a.jpg", "one");
  service_.AddFault("UploadItems:reset,times=1");
  EXPECT_EQ(Kelo({"put", In(), "--retries", "0"}).exitCode, 1);
  Set("a.jpg", "two");
  EXPECT_EQ(Kelo({"put", In()}, Elsewhere()).exitCode, 0);
  for (const char* name : {"b.jpg", "c.jpg"}) Set(name, name);
  const auto fault = service_.AddFault("Download:status=500");
  const Outcome put = Put();
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.out, EndsWith("2 stored, 0 already there, 1 not stored\n"));
  EXPECT_GT(service_.FaultFired(fault), 0u);
  service_.ClearFaults();
  EXPECT_THAT(Put().out, EndsWith("0 stored, 3 already there, 0 not stored\n"));
  EXPECT_THAT(Put().err, Not(HasSubstr("compared")));
}

}  // namespace
}  // namespace kelo::host::testing
