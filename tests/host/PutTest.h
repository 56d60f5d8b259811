// What the tests of uploads share.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "KeloProcess.h"

namespace kelo::host::testing {

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
