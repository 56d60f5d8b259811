// The program `kelo` with a home of its own, against a service inside the test.
#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>

#include "devservice/DevService.h"
#include "support/Process.h"
#include "support/TemporaryFolder.h"

namespace kelo::host::testing {

// What nearly every test here says.
namespace fs = std::filesystem;
using devservice::ClientRequest;
using devservice::Reply;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

// The words of a command or of an environment. A text is split at its blanks, a list is taken as it
// is: "ls Party", {"ls", "My album"}.
struct Words : std::vector<std::string> {
  using vector::vector;
  Words(const char* line) : Words(std::string(line)) {}
  Words(const std::string& line);
  friend Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
};

// The answer of a service that refuses a request.
Reply Refusal(int number);

std::string Repeated(std::string_view text, int times);
size_t CountOf(std::string_view part, std::string_view text);

// Elements of the service's answer; an item may have more attributes.
std::string ItemOf(const std::string& id, const std::string& name, const std::string& more = "");
std::string AlbumOf(const std::string& id, const std::string& name, const std::string& items = "");
std::string FolderOf(const std::string& id, const std::string& name, const std::string& albums);

// As the first argument: kelo is process 1 of a namespace of its own, as in a container,
// where that is permitted.
constexpr const char* kContained = "contained";

struct KeloProcess : Process {
  KeloProcess(const Words& arguments, const Words& environment, int columns = 0,
              const char* output = nullptr);
};

// A service, a temporary folder with a home in it, and kelo logged in or not.
class HostTest : public ::testing::Test {
 protected:
  explicit HostTest(const devservice::Service::Options& options = {}) : service_(options) {}
  Words Environment() const { return EnvironmentOf(service_); }
  Words EnvironmentOf(const devservice::Service& service) const;
  // Without the variables that begin so.
  Words EnvironmentWithout(const std::string& beginning) const;
  Outcome Kelo(const Words& arguments) const { return Kelo(arguments, Environment()); }
  Outcome Kelo(const Words& arguments, const Words& environment) const;
  fs::path In() const { return folder_ / "in"; }  // where tests of uploads have their pictures
  // Logs in and expects success.
  void LogIn() const;
  // Creates a file below the folder, with the folders on the way.
  fs::path Write(const std::string& name, const std::string& content) const {
    return temporary_.Write(name, content);
  }
  // Requests of this method ("" is any), or with this in their paths ("/original/"): how many have
  // arrived since the log was cleared; waiting for one with a text in its body; and how they are
  // answered where `isMeant` holds.
  size_t Arrived(const std::string& what) const;
  bool WaitFor(const std::string& what, const std::string& text = "") const;
  void AnswerWith(const Reply& reply, const std::string& what,
                  const std::function<bool(const ClientRequest&)>& isMeant = {});
  // The service tells of this account from now on, with its URL for "URL". `other` answers what
  // else it likes; otherwise an original "URL/original/x" is "x".
  void TellAccount(std::string elements, const devservice::Script& other = {});
  // The lines of an output in JSON.
  static std::vector<nlohmann::json> Objects(const std::string& lines);
  // What the last of them sums up; null: it is no summary.
  static nlohmann::json Summary(const std::string& lines);
  // The names in a folder below the test's, sorted.
  Words Names(const std::string& folder) const;

  const TemporaryFolder temporary_;
  const fs::path folder_ = temporary_.Path();
  devservice::Service service_;
};

// With downloads: an account that answers as a script tells, and the folder out.
struct ScriptedItem {
  std::string name;  // as in the answer
  std::string modifyDate = "2024-05-17T10:11:13Z";
  std::string uploadDate = {};
  std::string format = "image/jpeg";
};

class GetTest : public HostTest {
 protected:
  GetTest() { LogIn(); }

  // An account whose root album holds these items, "item0" and on; `original` answers for each.
  void ScriptAccount(const std::vector<ScriptedItem>& items,
                     const std::function<Reply(const std::string& id)>& original) {
    std::string elements;
    for (size_t at = 0; at < items.size(); ++at) {
      const std::string id = "item" + std::to_string(at);
      const ScriptedItem& item = items[at];
      elements += ItemOf(id, item.name,
                         fmt::format(R"(fileFormat="{}" modifyDate="{}" uploadDate="{}")"
                                     R"( origUrl="URL/original/{}")",
                                     item.format, item.modifyDate, item.uploadDate, id));
    }
    TellAccount("<rootAlbum>" + elements + "</rootAlbum>",
                [=](const ClientRequest& request) -> std::optional<Reply> {
                  if (!request.path.starts_with("/original/")) return std::nullopt;
                  return original(request.path.substr(request.path.rfind('/') + 1));
                });
  }

  Outcome Get(const Words& arguments) const {
    return Kelo("get" + arguments + Words{"--to", Out().string()});
  }

  fs::path Out() const { return folder_ / "out"; }

  // What the files in out hold, by their relative paths.
  std::map<std::string, std::string> Contents() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::recursive_directory_iterator(Out()))
      if (entry.is_regular_file())
        contents[fs::relative(entry, Out()).string()] = ReadFile(entry.path());
    return contents;
  }
  Words PathsInOut() const {
    Words paths;
    for (const auto& [path, content] : Contents()) paths.push_back(path);
    return paths;
  }

  static std::time_t ModifyTime(const fs::path& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mtime;
  }
  static void SetModifyTime(const fs::path& path, std::time_t time) {
    const timespec times[] = {{0, UTIME_OMIT}, {time, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
  }
};

// With uploads of the folder in.
class PutTest : public HostTest {
 protected:
  explicit PutTest(const devservice::Service::Options& options = {}) : HostTest(options) {
    LogIn();
  }

  // A file of the folder in, always of one date.
  void Set(const std::string& name, const std::string& content,
           std::time_t date = 1'700'000'000) const {
    const timespec times[] = {{0, UTIME_OMIT}, {date, 0}};
    ::utimensat(AT_FDCWD, Write("in/" + name, content).c_str(), times, 0);
  }
  // The same person on another machine, logged in there.
  Words Elsewhere() const {
    const Words there =
        EnvironmentWithout("HOME=") + Words{"HOME=" + (folder_ / "elsewhere").string()};
    if (!fs::exists(folder_ / "elsewhere")) EXPECT_EQ(Kelo("login", there).exitCode, 0);
    return there;
  }

  Outcome Put(const Words& more = {}) const {
    return Kelo(Words{"put", In(), "--retries", "1"} + more);
  }

  // What the account holds: paths, sorted.
  Words Account() const {
    Words paths;
    for (const auto& entry : Objects(Kelo({"tree", "--items", "--json"}).out))
      paths.push_back(entry["path"]);
    std::sort(paths.begin(), paths.end());
    return paths;
  }
};

}  // namespace kelo::host::testing
