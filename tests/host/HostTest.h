// The program `kelo` with a home of its own, against a service inside the test.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>

#include "devservice/DevService.h"
#include "support/Process.h"
#include "support/TemporaryFolder.h"

namespace kelo::host::testing {

// What nearly every test here says.
namespace fs = std::filesystem;
using devservice::LoggedRequest;
using devservice::Reply;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

// The answer of a service that refuses a request.
Reply Refusal(int number);

// As the first argument: kelo is process 1 of a namespace of its own, as in a container,
// where that is permitted.
constexpr const char* kContained = "contained";

std::vector<std::string> WordsOf(const std::vector<std::string>& arguments);

struct KeloProcess : Process {
  KeloProcess(const std::vector<std::string>& arguments,
              const std::vector<std::string>& environment, int columns = 0,
              const char* output = nullptr)
      : Process(WordsOf(arguments), {environment, columns, output}) {}
};

// A service, a temporary folder with a home in it, and kelo logged in or not.
class HostTest : public ::testing::Test {
 protected:
  explicit HostTest(const devservice::Service::Options& options = {}) : service_(options) {}
  std::vector<std::string> Environment() const { return EnvironmentOf(service_); }
  std::vector<std::string> EnvironmentOf(const devservice::Service& service) const;
  // Without the variables that begin so.
  std::vector<std::string> EnvironmentWithout(const std::string& beginning) const;
  Outcome Kelo(const std::vector<std::string>& arguments) const;
  // Logs in and expects success.
  void LogIn() const;
  // Creates a file below the folder, with the folders on the way.
  std::filesystem::path Write(const std::string& name, const std::string& content) const {
    return temporary_.Write(name, content);
  }
  std::size_t Arrived(const std::string& method) const;
  // The service tells of this account from now on; `other` answers what else it likes.
  void TellAccount(const std::string& elements, const devservice::Script& other = {});
  // The lines of an output in JSON.
  static std::vector<nlohmann::json> Objects(const std::string& lines);
  // The names in a folder below the test's, sorted.
  std::vector<std::string> Names(const std::string& folder) const;

  const TemporaryFolder temporary_;
  const std::filesystem::path folder_ = temporary_.Path();
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
    for (std::size_t at = 0; at < items.size(); ++at) {
      const std::string id = "item" + std::to_string(at);
      elements += "<item itemId=\"" + id + "\" fileName=\"" + items[at].name + "\" fileFormat=\"" +
                  items[at].format + "\" modifyDate=\"" + items[at].modifyDate +
                  "\" uploadDate=\"" + items[at].uploadDate + "\" origUrl=\"" + service_.Url() +
                  "/original/" + id + "\"/>";
    }
    TellAccount("<rootAlbum>" + elements + "</rootAlbum>",
                [=](const LoggedRequest& request) -> std::optional<Reply> {
                  if (!request.path.starts_with("/original/")) return std::nullopt;
                  return original(request.path.substr(request.path.rfind('/') + 1));
                });
  }

  Outcome Get(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "get");
    arguments.insert(arguments.end(), {"--to", Out().string()});
    return Kelo(arguments);
  }

  std::filesystem::path Out() const { return folder_ / "out"; }

  // Originals asked for since the log was cleared.
  std::size_t Fetched() const {
    const auto log = service_.Log();
    return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [](const auto& request) {
      return request.path.find("/original/") != std::string::npos;
    }));
  }

  // Relative paths of all files below a folder, with what they hold and their modify dates.
  using Tree = std::map<std::string, std::pair<std::string, std::time_t>>;
  static Tree TreeOf(const std::filesystem::path& folder) {
    Tree tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
      if (entry.is_regular_file())
        tree[std::filesystem::relative(entry.path(), folder).string()] = {ReadFile(entry.path()),
                                                                          ModifyTime(entry.path())};
    return tree;
  }
  std::vector<std::string> PathsInOut() const {
    std::vector<std::string> paths;
    for (const auto& [path, what] : TreeOf(Out())) paths.push_back(path);
    return paths;
  }

  static std::time_t ModifyTime(const std::filesystem::path& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mtime;
  }
  static void SetModifyTime(const std::filesystem::path& path, std::time_t time) {
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

  std::string In() const { return (folder_ / "in").string(); }

  Outcome Put(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"put", In(), "--retries", "1"});
    return Kelo(more);
  }

  // What the account holds: paths, sorted.
  std::vector<std::string> Account() const {
    std::vector<std::string> paths;
    for (const auto& entry : Objects(Kelo({"tree", "--items", "--json"}).out))
      paths.push_back(entry["path"]);
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  // Refuses every portion for which `isBad` holds, as the service refuses what it does not like.
  template <typename IsBad>
  void Refuse(const std::string& method, const Reply& reply, IsBad isBad) {
    service_.SetScript([=](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.apiMethod == method && isBad(request)) return reply;
      return std::nullopt;
    });
  }
};

}  // namespace kelo::host::testing
