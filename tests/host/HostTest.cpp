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

Words CommandOf(const Words& arguments) {
  if (arguments.empty() || arguments.front() != kContained) return Words{KELO_PROGRAM} + arguments;
  const Words program = {KELO_PROGRAM};
  const Words rest(arguments.begin() + 1, arguments.end());
  return (MayContain() ? "/usr/bin/unshare -r -p -f --kill-child" + program : program) + rest;
}

bool Is(const ClientRequest& request, const std::string& what) {
  if (what.starts_with('/')) return request.path.find(what) != std::string::npos;
  return what.empty() || request.method == what;
}

}  // namespace

Reply Refusal(int number) {
  return {.body = "<a stat=\"fail\" errcode=\"" + std::to_string(number) + "\" errmsg=\"x\"/>"};
}

std::string Repeated(std::string_view text, int times) {
  std::string all;
  for (; times > 0; --times) all += text;
  return all;
}

size_t CountOf(std::string_view part, std::string_view text) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

std::string ItemOf(const std::string& id, const std::string& name, const std::string& more) {
  return fmt::format(R"(<item itemId="{}" fileName="{}" {}/>)", id, name, more);
}

std::string AlbumOf(const std::string& id, const std::string& name, const std::string& items) {
  return fmt::format(R"(<album albumId="{}" albumName="{}"><items>{}</items></album>)", id, name,
                     items);
}

std::string FolderOf(const std::string& id, const std::string& name, const std::string& albums) {
  return fmt::format(R"(<folder folderId="{}" folderName="{}"><albums>{}</albums></folder>)", id,
                     name, albums);
}

Words::Words(const std::string& line) {
  std::istringstream text(line);
  for (std::string word; text >> word;) push_back(word);
}

KeloProcess::KeloProcess(const Words& arguments, const Words& environment, int columns,
                         const char* output)
    : Process(CommandOf(arguments), {environment, columns, output}) {}

Words HostTest::EnvironmentOf(const devservice::Service& service) const {
  Words environment = {"HOME=" + (folder_ / "home").string(),
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

Words HostTest::EnvironmentWithout(const std::string& beginning) const {
  Words environment = Environment();
  std::erase_if(environment, [&](const auto& text) { return text.starts_with(beginning); });
  return environment;
}

nlohmann::json HostTest::Summary(const std::string& lines) {
  const auto objects = Objects(lines);
  return objects.empty() ? nlohmann::json() : objects.back().value("summary", nlohmann::json());
}

void HostTest::TellAccount(std::string elements, const devservice::Script& other) {
  for (size_t at; (at = elements.find("URL")) != elements.npos;)
    elements.replace(at, 3, service_.Url());
  service_.SetScript([=](const ClientRequest& request) -> std::optional<Reply> {
    if (request.method == "GetHierarchy") return Reply{.body = "<a stat=\"ok\"/>" + elements};
    if (other)
      if (auto reply = other(request)) return reply;
    if (!request.path.starts_with("/original/")) return std::nullopt;
    return Reply{.body = request.path.substr(10)};
  });
}

void HostTest::AnswerWith(const Reply& reply, const std::string& what,
                          const std::function<bool(const ClientRequest&)>& isMeant) {
  service_.SetScript([=](const ClientRequest& request) {
    const bool answers = Is(request, what) && (!isMeant || isMeant(request));
    return answers ? std::optional(reply) : std::nullopt;
  });
}

std::vector<nlohmann::json> HostTest::Objects(const std::string& lines) {
  std::vector<nlohmann::json> objects;
  std::istringstream text(lines);
  for (std::string line; std::getline(text, line);) objects.push_back(nlohmann::json::parse(line));
  return objects;
}

Outcome HostTest::Kelo(const Words& arguments, const Words& environment) const {
  Outcome outcome = KeloProcess(arguments, environment).Wait();
  service_.RequestCount();  // the end of a process orders nothing: what scripts did comes before
  return outcome;
}

void HostTest::LogIn() const {
  const Outcome login = Kelo({"login"});
  ASSERT_EQ(login.exitCode, 0) << login.err;
}

size_t HostTest::Arrived(const std::string& what) const {
  const auto log = service_.Arrived();
  return static_cast<size_t>(std::count_if(log.begin(), log.end(),
                                           [&](const auto& request) { return Is(request, what); }));
}

bool HostTest::WaitFor(const std::string& what, const std::string& text) const {
  return service_.WaitForRequest([&](const ClientRequest& request) {
    return Is(request, what) && request.body.find(text) != std::string::npos;
  });
}

Words HostTest::Names(const std::string& folder) const {
  Words names;
  for (const auto& entry : fs::directory_iterator(folder_ / folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace kelo::host::testing
