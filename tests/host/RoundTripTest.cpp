// A photographer's disk goes up, again, down, again, and up from there, on a terminal.
#include <fmt/format.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <future>
#include <set>
#include <tuple>

#include "GetTest.h"
#include "Screen.h"
#include "host/account/Names.h"
#include "text/Unicode.h"

namespace kelo::host::testing {
namespace {

constexpr int kColumns = 50;

class RoundTripTest : public GetTest {
 protected:
  // What the script says becomes of each file, and its path.
  using Fates = std::vector<std::pair<std::string, fs::path>>;
  Fates MakeMessyTree() const {
    Fates fates;
    const std::string command = KELO_MESSY_TREE " '" + In().string() + "'";
    std::FILE* const script = ::popen(command.c_str(), "r");
    char line[4096];
    while (script != nullptr && std::fgets(line, sizeof line, script) != nullptr) {
      const std::string text(line, std::strcspn(line, "\n"));
      const std::size_t tab = text.find('\t');
      fates.emplace_back(text.substr(0, tab), In() / text.substr(tab + 1));
    }
    EXPECT_EQ(::pclose(script), 0);
    return fates;
  }

  // The first request for which `isLast` holds is answered when the terminal has shown `state`.
  // Gives what a person sees at the end.
  template <typename IsLast>
  std::vector<std::string> OnTerminal(const std::vector<std::string>& command, int exitCode,
                                      IsLast isLast, const std::string& state) {
    std::promise<void> shown;
    service_.SetScript([&, seen = shown.get_future().share()](const LoggedRequest& request) {
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
  std::vector<std::string> OnTerminal(const std::vector<std::string>& command, int exitCode) {
    return OnTerminal(
        command, exitCode, [](const auto&) { return false; }, "");
  }

  static std::vector<std::string> Put(const fs::path& folder, const char* mode = "--retries=3") {
    return {"put", folder.string(), "--albums-from-folders", mode};
  }
  fs::path In() const { return folder_ / "in"; }

  // Requests that change the account.
  std::vector<std::size_t> Changes() const {
    return {Arrived("UploadItems"), Arrived("AddAlbum"), Arrived("AddFolder"),
            Arrived("AddItemsToAlbum")};
  }

  // A name whatever number it has and however its letters are composed, bytes and date; no name
  // for bytes that have lost theirs.
  using File = std::tuple<std::string, std::string, std::time_t>;
  static File FileAt(const fs::path& path, const std::set<std::string>& nameless) {
    std::string composed;
    const std::string name = WithoutNumber(path.filename().string());
    std::string bytes = ReadFile(path);
    const bool named = !nameless.contains(bytes);
    return {named ? std::string(ComposeUtf8(name, composed)) : "", bytes, ModifyTime(path)};
  }
};

TEST_F(RoundTripTest, NothingIsLostAndNothingTravelsTwice) {
  const Fates fates = MakeMessyTree();
  std::map<std::string, std::size_t> counts;
  std::set<std::string> nameless;
  std::multiset<File> files;
  for (const auto& [fate, path] : fates) {
    ++counts[fate.substr(0, fate.find(':'))];
    if (fate == "renamed") nameless.insert(ReadFile(path));
  }
  for (const auto& [fate, path] : fates)
    if (!fate.starts_with("refused") && fate != "left out") files.insert(FileAt(path, nameless));
  const std::size_t all = files.size();
  const std::size_t unique = all - counts["copy"];

  // Up. The last that leave are a picture and its memo.
  const std::string bad = fmt::format(", {} not stored", counts["refused"]);
  EXPECT_THAT(Kelo(Put(In(), "--dry-run")).out,
              EndsWith(fmt::format("{} would be stored, {} were there and would be placed in their "
                                   "albums{}\n",
                                   unique, counts["copy"], bad)));
  EXPECT_EQ(Changes(), std::vector<std::size_t>(4));
  std::atomic<int> pairs = 0;
  const auto isLastPair = [&](const LoggedRequest& request) {
    return request.apiMethod == "UploadItems" &&
           request.body.find("\"dawn.wav\"") != request.body.npos && ++pairs == 2;
  };
  const auto up =
      OnTerminal(Put(In()), 1, isLastPair, fmt::format("sending {}/{}  ", all - 1, all));
  EXPECT_EQ(up.back(), fmt::format("{} stored, {} were there and are now in their albums{}", unique,
                                   counts["copy"], bad));
  EXPECT_THAT(up, Contains("left out: 4 of the system, 2 hidden, 2 no picture, movie or sound, 2 a "
                           "link to a folder"));
  for (const auto& [fate, path] : fates) {
    const std::string shown = ShownText(path.string());
    if (fate.starts_with("refused"))
      EXPECT_THAT(up, Contains(fmt::format("kelo: {}: {}", shown, fate.substr(9))));
    if (fate == "travels") EXPECT_THAT(up, Contains(StartsWith(shown + ": stored, ")));
  }
  EXPECT_EQ(std::ranges::count_if(
                up,
                [](const auto& line) {
                  return line.find(": the name is longer than the catalogue shows") != line.npos;
                }),
            counts["renamed"]);
  const std::string field = "桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜桜";
  EXPECT_THAT(
      up,
      Contains(EndsWith(fmt::format(
          "{0}桜.jpg: the name is longer than the catalogue shows; it ends after '{0}'", field))));
  const auto changes = Changes();
  EXPECT_EQ(OnTerminal(Put(In()), 1).back(), fmt::format("0 stored, {} already there{}", all, bad));
  // Without albums, the link and what it leads to are one.
  EXPECT_THAT(Kelo({"put", In() / "Porto", In() / "Twice linked", In() / "Journeys"}).out,
              EndsWith("0 stored, 8 already there, 0 not stored\n"));
  EXPECT_EQ(Changes(), changes);

  // Down.
  std::atomic<std::size_t> asked = 0;
  const std::vector<std::string> get = {"get", "--all", "--to", Out().string()};
  const auto isLastOriginal = [&](const LoggedRequest& request) {
    return request.path.find("/original/") != request.path.npos && ++asked == all;
  };
  const auto down =
      OnTerminal(get, 0, isLastOriginal, fmt::format("fetching {}/{}  ", all - 1, all));
  EXPECT_EQ(down.back(), fmt::format("{} downloaded, 0 already here", all));
  std::multiset<File> fetched;
  for (const std::string& path : PathsInOut()) fetched.insert(FileAt(Out() / path, nameless));
  EXPECT_TRUE(fetched == files) << ::testing::PrintToString(PathsInOut());
  EXPECT_THAT(PathsInOut(), IsSupersetOf({"-rf.jpg", "&amp; &#26716; <b>.jpg", "Porto/SAME.JPG",
                                          "porto/same.jpg", "Trip/Trip/loose.jpg",
                                          "Trip/One/DSC_0001 (4).jpg", "日本/日本/桜の庭.jpg"}));
  service_.ClearLog();
  EXPECT_EQ(OnTerminal(get, 0).back(), fmt::format("0 downloaded, {} already here", all));
  EXPECT_EQ(Fetched(), 0u);

  // And up from there: only of what has lost its name nobody knows that it is stored.
  const std::string rest =
      fmt::format(" stored, {} already there, 0 not stored", all - nameless.size());
  EXPECT_THAT(Kelo(Put(Out(), "--dry-run")).out,
              EndsWith(fmt::format("{} would be{}\n", nameless.size(), rest)));
  EXPECT_EQ(OnTerminal(Put(Out()), 0).back(), std::to_string(nameless.size()) + rest);
  EXPECT_EQ(Arrived("AddAlbum") + Arrived("AddFolder") + Arrived("AddItemsToAlbum"), 0u);
}

}  // namespace
}  // namespace kelo::host::testing
