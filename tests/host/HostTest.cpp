// kelo's environment, and what the tests ask of the service and the folder.
#include "HostTest.h"

#include <cstdlib>
#include <sstream>

namespace kelo::host::testing {
namespace {

bool MayContain() {
  static const bool may = std::system("/usr/bin/unshare -r -p -f true 2>/dev/null") == 0;
  return may;
}

}  // namespace

Reply Refusal(int number) {
  return {.body = "<a stat=\"fail\" errcode=\"" + std::to_string(number) + "\" errmsg=\"x\"/>"};
}

std::vector<std::string> WordsOf(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {KELO_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  if (arguments.empty() || arguments.front() != kContained) return words;
  words.erase(words.begin() + 1);
  if (MayContain())
    words.insert(words.begin(), {"/usr/bin/unshare", "-r", "-p", "-f", "--kill-child"});
  return words;
}

std::vector<std::string> HostTest::EnvironmentOf(const devservice::Service& service) const {
  std::vector<std::string> environment = {"HOME=" + (folder_ / "home").string(),
                                          "PATH=/usr/bin:/bin",
                                          "LC_ALL=C.UTF-8",
                                          "KELO_KEY=" + service.ApiKey(),
                                          "KELO_TOKEN=" + service.AuthToken(),
                                          "KELO_SECRET=" + service.Secret(),
                                          "KELO_URL=" + service.Url()};
  // Reports of the sanitizers must not get lost in the program's own exit code.
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"})
    if (const char* value = std::getenv(name))
      environment.push_back(std::string(name) + "=" + value);
  return environment;
}

std::vector<std::string> HostTest::EnvironmentWithout(const std::string& beginning) const {
  std::vector<std::string> environment = Environment();
  std::erase_if(environment, [&](const auto& text) { return text.starts_with(beginning); });
  return environment;
}

void HostTest::TellAccount(const std::string& elements, const devservice::Script& other) {
  service_.SetScript([=](const LoggedRequest& request) -> std::optional<Reply> {
    if (request.apiMethod == "GetHierarchy") return Reply{.body = "<a stat=\"ok\"/>" + elements};
    return other ? other(request) : std::nullopt;
  });
}

std::vector<nlohmann::json> HostTest::Objects(const std::string& lines) {
  std::vector<nlohmann::json> objects;
  std::istringstream text(lines);
  for (std::string line; std::getline(text, line);) objects.push_back(nlohmann::json::parse(line));
  return objects;
}

Outcome HostTest::Kelo(const std::vector<std::string>& arguments) const {
  Outcome outcome = KeloProcess(arguments, Environment()).Wait();
  service_.RequestCount();  // the end of a process orders nothing: what scripts did comes before
  return outcome;
}

void HostTest::LogIn() const {
  const Outcome login = Kelo({"login"});
  ASSERT_EQ(login.exitCode, 0) << login.err;
}

std::size_t HostTest::Arrived(const std::string& method) const {
  const auto log = service_.Log();
  return static_cast<std::size_t>(std::count_if(
      log.begin(), log.end(), [&](const auto& request) { return request.apiMethod == method; }));
}

std::vector<std::string> HostTest::Names(const std::string& folder) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder_ / folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace kelo::host::testing
