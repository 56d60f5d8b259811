// What the tests of downloads share: an account that answers as a script tells, and the folder out.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KeloProcess.h"

namespace kelo::host::testing {

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

}  // namespace kelo::host::testing
