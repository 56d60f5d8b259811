// The program kelo-devservice as its user runs it: wrong usage, ctl, the log.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <nlohmann/json.hpp>
#include <sstream>

#include "devservice/Client.h"
#include "devservice/ServiceProgram.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {
namespace {

using Json = nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::PrintToString;
using ::testing::StartsWith;

using Words = std::vector<std::string>;

struct ServiceProgram : testing::Test {
  const TemporaryFolder folder;
  const Words controlFile{"--control-file", folder.Path("url")};

  Outcome Ctl(Words words) const {
    words.insert(words.begin(), "ctl");
    words.insert(words.end(), controlFile.begin(), controlFile.end());
    return ServiceProcess(words).Wait();
  }
};

TEST_F(ServiceProgram, SaysWhatItIsAndWhatIsWrongWithALine) {
  struct Case {
    Words words;
    int exitCode;
    std::string said;  // how it begins: on standard output for 0, else on standard error
  };
  const std::string noUrl = "cannot write the page's URL to ";
  const Case cases[] = {
      {{"--version"}, 0, "kelo-devservice "},
      {{"--help"}, 0, "Usage: kelo-devservice [OPTIONS]\n"},
      {{"ctl", "add", "--help"}, 0, "Usage: kelo-devservice ctl add FAULT ...\n"},
      {{"--prt", "1"}, 2, "there is no option '--prt'; did you mean '--port'?\n"},
      {{"--port", "65536"}, 2, "--port: '65536' is no number between 0 and 65535"},
      {{"--quota", "-1"}, 2, "--quota: '-1' is no number between 0 and 9"},
      {{"--quota", "99999999999999999999"}, 2, "--quota: '99"},
      {{"--expiry", "0"}, 2, "--expiry: '0' is no number between 1 and 3"},
      {{"--control-file", folder.Path("")}, 1, noUrl + folder.Path("") + ": not a regular"},
      {{"--control-file", folder.Path("no/url")}, 1, noUrl + folder.Path("no/url") + ": No such"},
      {{"--import", folder.Path("none")}, 2, "--import: "},
      {{"--log-json"}, 2, "--log-json requires --log\n"},
      {{"--fault", "Download:cutt"}, 2, "--fault: there is no fault \"cutt\""},
      {{"serve"}, 2, "there is no command 'serve'\nsee 'kelo-devservice --help'"},
      {{"ctl"}, 2, "'kelo-devservice ctl' needs a command\n"},
      {{"ctl", "fault"}, 2, "there is no command 'fault'; did you mean 'faults'?"},
      {{"ctl", "add"}, 2, "FAULT is required\nsee 'kelo-devservice ctl add --help'"},
      {{"--log", folder.Path("none/log")}, 1, "cannot create " + folder.Path("none/log") + ": No"},
      {{"ctl", "faults", "--url", "http://127.0.0.1/"}, 1, "not the URL of a "},
  };
  for (const Case& c : cases) {
    const Outcome ended = ServiceProcess(c.words).Wait();
    EXPECT_EQ(ended.exitCode, c.exitCode) << PrintToString(c.words);
    const bool good = c.exitCode == 0;
    EXPECT_THAT(good ? ended.out : ended.err,
                StartsWith((good ? "" : "kelo-devservice: ") + c.said));
    EXPECT_EQ(good ? ended.err : ended.out, "") << PrintToString(c.words);
  }
}

TEST_F(ServiceProgram, CtlAsksAndChangesTheServiceThatRuns) {
  std::filesystem::create_symlink(folder.Path("else"), controlFile[1]);  // gives way
  EXPECT_THAT(Ctl({"faults"}).err, HasSubstr("no service is running"));
  ServiceProcess service({"--account", "other@home.example", controlFile[0], controlFile[1]});
  ASSERT_TRUE(service.IsServing());
  Client client(service.url, service.key, service.account);
  client.Open();
  client.Call("AddFolder", " folderName=\"Trips\"");
  struct Case {
    Words words;
    int exitCode;
    std::string out;  // a part of it
    std::string err;
  };
  const Words wrongToken{"faults", "--url", service.page + "0"};
  const Case cases[] = {
      {{"add", "GetAddressList:status=503,times=1", "*:full"}, 0, "2  *:full  fired 0\n", ""},
      {{"add", "Nothing:full"}, 1, "", "there is no method \"Nothing\""},
      {{"remove", "2"}, 0, "1  GetAddressList:status=503,times=1  fired 0\n", ""},
      {{"remove", "2"}, 1, "", "no fault 2"},
      {wrongToken, 1, "", "needs the token"},
      {{"account"}, 0, "\"address\": \"me@home.example\",\n  \"storage\"", ""},
      {{"account", "other@home.example"}, 0, "\"address\": \"other@home.example\",\n", ""},
      {{"account", "nobody@home.example"}, 1, "", "no account with the address nobody@"},
  };
  for (const Case& c : cases) {
    const Outcome ended = Ctl(c.words);
    EXPECT_EQ(ended.exitCode, c.exitCode) << PrintToString(c.words);
    EXPECT_THAT(ended.out, HasSubstr(c.out)) << PrintToString(c.words);
    EXPECT_THAT(ended.err, HasSubstr(c.err)) << PrintToString(c.words);
    EXPECT_EQ(ended.err.empty(), c.exitCode == 0) << PrintToString(c.words) << ended.err;
  }
  EXPECT_EQ(client.Call("GetAddressList").status, 503);
  EXPECT_EQ(Ctl({"faults"}).out, "1  GetAddressList:status=503,times=1  fired 1\n");
  EXPECT_EQ(Ctl({"remove"}).out, "");
  const std::string log = Ctl({"log"}).out;
  EXPECT_EQ(std::ranges::count(log, '\n'), 3) << log;
  EXPECT_EQ(Json::parse(log.substr(0, log.find('\n')))["method"], "OpenSession");
  EXPECT_EQ(Json::parse(Ctl({"account"}).out)["folders"].size(), 1u);
  EXPECT_EQ(Ctl({"reset"}).exitCode, 0);
  EXPECT_EQ(Json::parse(Ctl({"account"}).out)["folders"].size(), 0u);

  const std::string url = service.url;
  service.End(SIGKILL);
  EXPECT_THAT(Ctl({"faults"}).err, HasSubstr("no answer from " + url)) << "what it left is stale";
  ServiceProcess next(controlFile);
  ASSERT_TRUE(next.IsServing());
  EXPECT_EQ(Ctl({"faults"}).exitCode, 0);
  if (chown(controlFile[1].c_str(), 65534, ~0u) == 0)
    EXPECT_THAT(Ctl({"faults"}).err, HasSubstr("belongs to another user"));
  EXPECT_EQ(next.End(SIGTERM).exitCode, 0);
  EXPECT_EQ(folder.EntryCount(), 0u);
}

TEST_F(ServiceProgram, SeveralThatStartAtOnceAllServe) {
  std::deque<ServiceProcess> services;
  for (int i = 0; i < 20; ++i) services.emplace_back(controlFile);
  for (ServiceProcess& service : services) EXPECT_TRUE(service.IsServing());
  EXPECT_EQ(Ctl({"faults"}).exitCode, 0);
  for (ServiceProcess& service : services) EXPECT_EQ(service.End(SIGTERM).err, "");
  EXPECT_EQ(folder.EntryCount(), 0u);
}

TEST_F(ServiceProgram, TheLogHasALineForEachRequestAndNoSecret) {
  const Words logs[] = {{"--log", folder.Path("text")},
                        {"--log", folder.Path("json"), "--log-json"},
                        {"--log", "-"},
                        {"--log", "-", "--log-json"}};
  for (const Words& log : logs) {
    Words words = log;
    words.insert(words.end(), controlFile.begin(), controlFile.end());
    words.insert(words.end(), {"--fault", "GetUserArchiveInfo:cut=3"});
    ServiceProcess service(words);
    ASSERT_TRUE(service.IsServing());
    Client client(service.url, service.key, service.account);
    client.Open();
    const std::string document = Client::kDeclarations + "<GetAddressList />\r\n";
    const std::string query = client.Query(document);
    client.Send("PUT", client.manageUrl + "?" + query, &document);
    client.Send("PUT", client.manageUrl + "?" + query, &document);  // its call id is used
    client.Send("GET", client.OpenUrl(service.key, client.token));  // no authentication token
    client.Send("GET", client.manageUrl + "/" + query);             // forgets the "?"
    client.Send("GET", service.url + "/P2PwebCmdController/api-auth?method=" + client.token);
    client.Call("GetUserArchiveInfo");
    const std::string shown = Ctl({"log"}).out;
    const Outcome ended = service.End(SIGTERM);
    const bool printed = log[1] == "-";
    std::string text = printed ? ended.out : ReadFile(log[1]);
    // What is printed stands behind how to reach the service.
    if (printed) text = text.substr(text.find('\n', text.find("kKELO_URLofKELOServer")) + 1);
    EXPECT_EQ(std::ranges::count(text, '\n'), 7) << text;
    for (const char* part :
         {"OpenSession", "GetAddressList", "104", "102", "404", "GetUserArchiveInfo:cut=3"})
      EXPECT_THAT(text, HasSubstr(part));
    const std::string signature = query.substr(query.rfind('=') + 1);
    for (const std::string& secret :
         {service.key, service.account.authToken, service.account.secret, client.token, signature})
      EXPECT_THAT(text, Not(HasSubstr(secret)));
    EXPECT_EQ(text.starts_with('{'), log.back() == "--log-json") << text;
    EXPECT_THAT(text, HasSubstr(log.back() == "--log-json" ? shown : " ms, 0 bytes in, "));
  }
}

TEST_F(ServiceProgram, AFullDiskLeavesWholeLinesInTheLog) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tight{1000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  ServiceProcess service(
      {"--log", folder.Path("log"), "--log-json", controlFile[0], controlFile[1]});
  setrlimit(RLIMIT_FSIZE, &before);
  ASSERT_TRUE(service.IsServing());
  Client client(service.url, service.key, service.account);
  client.Open();
  for (int i = 0; i < 5; ++i) client.Call("GetAddressList");
  EXPECT_THAT(service.End(SIGTERM).err, HasSubstr("cannot write the log: "));
  std::istringstream log(ReadFile(folder.Path("log")));
  int lines = 0;
  for (std::string line; std::getline(log, line); ++lines) EXPECT_TRUE(Json::accept(line)) << line;
  EXPECT_GE(lines, 2);
}

TEST_F(ServiceProgram, WhatIsNoFileOfItsOwnKeepsItsMode) {
  const std::string pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  ASSERT_EQ(chmod(pipe.c_str(), 0622), 0);
  const Descriptor reader(open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_THAT(ServiceProcess({"--control-file", pipe}).Wait().err, HasSubstr("not a regular file"));
  ServiceProcess service({"--log", pipe, controlFile[0], controlFile[1]});
  EXPECT_TRUE(service.IsServing());
  struct stat status {};
  ASSERT_EQ(stat(pipe.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, mode_t{S_IFIFO | 0622});
}

TEST_F(ServiceProgram, ASignalEndsAnImport) {
  folder.Write("pictures/a.jpg", "");
  setenv("TMPDIR", folder.Path("").c_str(), 1);  // where it has files of its own
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);  // until the program waits for it
  ServiceProcess service({"--import", folder.Path("pictures"), controlFile[0], controlFile[1]});
  pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
  const Outcome ended = service.End(SIGINT);
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_EQ(ended.out, "");
  unsetenv("TMPDIR");
  EXPECT_EQ(folder.EntryCount(), 1u) << "only what stands in pictures";
}

TEST_F(ServiceProgram, ProgressEndsItsLine) {
  for (int i = 0; i < 100; ++i) folder.Write("many/" + std::to_string(i) + ".jpg", "");
  ServiceProcess service({"--import", folder.Path("many"), controlFile[0], controlFile[1]}, 80);
  EXPECT_TRUE(service.ReadErrorUntil("kKELO_URLofKELOServer"));
  EXPECT_THAT(service.End(SIGTERM).err, StartsWith("\r100 files\r\n"));
}

}  // namespace
}  // namespace kelo::devservice
