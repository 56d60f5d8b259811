// A photographer's disk goes up, again, down, again, and up from there, on a terminal.
#include <fmt/format.h>

#include <atomic>
#include <future>
#include <set>
#include <sstream>
#include <tuple>

#include "HostTest.h"
#include "Screen.h"
#include "host/names/Names.h"
#include "text/Unicode.h"

namespace kelo::host::testing {
namespace {

constexpr int kColumns = 50;

// A name whatever number it has and however its letters are composed, bytes and date.
using File = std::tuple<std::string, std::string, std::time_t>;

class RoundTripTest : public GetTest {
 protected:
  RoundTripTest() {
    MakeMessyTree();
    for (const auto& [fate, path] : fates_) {
      ++counts_[fate.substr(0, fate.find(':'))];
      if (fate == "renamed") nameless_.insert(ReadFile(path));
    }
    for (const auto& [fate, path] : fates_)
      if (!fate.starts_with("refused") && fate != "left out") files_.insert(FileAt(path));
    all_ = files_.size();
  }

  void MakeMessyTree() {
    const Outcome made = Process({KELO_MESSY_TREE, In()}, {}).Wait();
    EXPECT_EQ(made.exitCode, 0) << made.err;
    std::istringstream lines(made.out);
    for (std::string fate, path; std::getline(std::getline(lines, fate, '\t'), path);)
      fates_.emplace_back(fate, In() / path);
  }

  // Bytes that have lost their name have none.
  File FileAt(const fs::path& path) const {
    std::string composed;
    const std::string name = WithoutNumber(path.filename().string());
    std::string bytes = ReadFile(path);
    const bool named = !nameless_.contains(bytes);
    return {named ? std::string(ComposeUtf8(name, composed)) : "", bytes, ModifyTime(path)};
  }

  // The first request for which `isLast` holds is answered when the terminal has shown `state`.
  // Gives what a person sees at the end.
  Words OnTerminal(
      const Words& command, int exitCode,
      const std::function<bool(const ClientRequest&)>& isLast = [](const auto&) { return false; },
      const std::string& state = "") {
    std::promise<void> shown;
    service_.SetScript([&, seen = shown.get_future().share()](const ClientRequest& request) {
      if (isLast(request)) seen.wait();
      return std::optional<Reply>();
    });
    KeloProcess kelo(command, Environment(), kColumns);
    EXPECT_TRUE(state.empty() || kelo.ReadErrorUntil(state)) << kelo.ErrorSoFar();
    shown.set_value();
    const Outcome outcome = kelo.Wait();
    service_.SetScript({});
    EXPECT_EQ(outcome.exitCode, exitCode) << outcome.err;
    Screen screen(kColumns);
    screen.Show(outcome.err);
    const auto lines = screen.Lines();
    // A line that is broken by the terminal's edge would leave its beginning.
    EXPECT_THAT(lines, Not(Contains(StartsWith("sending")))) << outcome.err;
    EXPECT_THAT(lines, Not(Contains(StartsWith("fetching")))) << outcome.err;
    EXPECT_EQ(lines.size(), std::count(outcome.err.begin(), outcome.err.end(), '\n'));
    return lines;
  }
  static Words Put(const fs::path& folder, const char* mode = "--retries=3") {
    return {"put", folder.string(), "--albums-from-folders", mode};
  }

  // Requests that change the account.
  std::vector<size_t> Changes() const {
    return {Arrived("UploadItems"), Arrived("AddAlbum"), Arrived("AddFolder"),
            Arrived("AddItemsToAlbum")};
  }

  void Up() {
    const size_t copies = counts_["copy"];
    const Outcome preview = Kelo(Put(In(), "--dry-run"));
    EXPECT_THAT(preview.err, HasSubstr("the album Porto would be made\n"));
    EXPECT_THAT(preview.out, EndsWith(fmt::format(
                                 "{} would be stored, {} were there and would be placed in their "
                                 "albums, {} not stored\n",
                                 all_ - copies, copies, counts_["refused"])));
    EXPECT_EQ(Changes(), std::vector<size_t>(4));
    std::atomic<size_t> placed = 0;
    const auto isLast = [&](const ClientRequest& request) {
      return request.method == "AddItemsToAlbum" && ++placed == copies;
    };
    const auto up = OnTerminal(Put(In(), "--transfers=1"), 1, isLast,
                               fmt::format("sending {}/{}  ", all_ - 1, all_));
    EXPECT_EQ(up.back(), fmt::format("{} stored, {} were there and are now in their albums, {} not "
                                     "stored",
                                     all_ - copies, copies, counts_["refused"]));
    CheckWords(up);
  }

  // What the first time up has told.
  void CheckWords(const Words& lines) const {
    for (const auto& [fate, path] : fates_) {
      const std::string shown = Shown(path.string());
      if (fate.starts_with("refused"))
        EXPECT_THAT(lines, Contains(fmt::format("kelo: {}: {}", shown, fate.substr(9))));
      if (fate == "travels") EXPECT_THAT(lines, Contains(StartsWith(shown + ": stored, ")));
    }
    EXPECT_THAT(lines,
                Contains("left out: 4 system files, 2 hidden, 2 of other kinds (--all-files sends "
                         "such files), 2 links to folders"));
    const std::string cut = ".jpg: the name is longer than the catalogue shows; it ends after '";
    EXPECT_THAT(lines, Contains(HasSubstr(cut)).Times(static_cast<int>(counts_.at("renamed"))));
    const std::string field = Repeated("桜", 31);
    EXPECT_THAT(lines, Contains(EndsWith(fmt::format("{0}桜{1}{0}'", field, cut))));
  }

  void UpAgain() {
    const auto changes = Changes();
    EXPECT_EQ(OnTerminal(Put(In()), 1).back(),
              fmt::format("0 stored, {} already there, {} not stored", all_, counts_["refused"]));
    // Without albums, the link and what it leads to are one.
    EXPECT_THAT(Kelo({"put", In() / "Porto", In() / "Twice linked", In() / "Journeys"}).out,
                EndsWith("0 stored, 9 already there, 0 not stored\n"));
    EXPECT_EQ(Changes(), changes);
  }

  void Down() {
    std::atomic<size_t> asked = 0;
    const Words get = {"get", "--all", "--to", Out().string()};
    const auto isLast = [&](const ClientRequest& request) {
      return request.path.find("/original/") != request.path.npos && ++asked == all_;
    };
    const auto down = OnTerminal(get, 0, isLast, fmt::format("fetching {}/{}  ", all_ - 1, all_));
    EXPECT_EQ(down.back(), fmt::format("{} downloaded, 0 already here", all_));
    std::multiset<File> fetched;
    for (const std::string& path : PathsInOut()) fetched.insert(FileAt(Out() / path));
    EXPECT_TRUE(fetched == files_) << ::testing::PrintToString(PathsInOut());
    EXPECT_THAT(PathsInOut(), IsSupersetOf({"-rf.jpg", "&amp; &#26716; <b>.jpg", "Porto/SAME.JPG",
                                            "porto/same.jpg", "Trip/loose.jpg",
                                            "Trip/One/DSC_0001 (4).jpg", "日本/桜の庭.jpg"}));
    service_.ClearArrived();
    EXPECT_EQ(OnTerminal(get, 0).back(), fmt::format("0 downloaded, {} already here", all_));
    EXPECT_EQ(Arrived("/original/"), 0u);
  }

  // Also what has lost its name is known, by its bytes.
  void UpFromThere() {
    const std::string rest = fmt::format("stored, {} already there, 0 not stored", all_);
    EXPECT_THAT(Kelo(Put(Out(), "--dry-run")).out, EndsWith("\n0 would be " + rest + "\n"));
    EXPECT_EQ(OnTerminal(Put(Out()), 0).back(), "0 " + rest);
    EXPECT_EQ(Arrived("AddAlbum") + Arrived("AddFolder") + Arrived("AddItemsToAlbum"), 0u);
  }

  std::vector<std::pair<std::string, fs::path>> fates_;  // as the script tells them
  std::map<std::string, size_t> counts_;                 // of fates
  std::set<std::string> nameless_;                       // what files hold that lose their names
  std::multiset<File> files_;                            // those that travel
  size_t all_ = 0;
};

TEST_F(RoundTripTest, NothingIsLostAndNothingTravelsTwice) {
  Up();
  UpAgain();
  Down();
  UpFromThere();
}

}  // namespace
}  // namespace kelo::host::testing
