// What a service must stand: other services, and clients that are slow, many, big or gone.
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <set>
#include <thread>

#include "devservice/Client.h"
#include "support/TemporaryFolder.h"

// The system's random source as a test wants it: every answer of another byte, or none.
enum RandomSource { kSystem, kScripted, kBroken };
static std::atomic<RandomSource> randomSource = kSystem;

extern "C" int getentropy(void* bytes, size_t size) {
  static std::atomic<int> last = 0;
  if (randomSource == kBroken) return -1;
  if (randomSource == kSystem)
    return syscall(SYS_getrandom, bytes, size, 0) == static_cast<long>(size) ? 0 : -1;
  std::memset(bytes, ++last, size);
  return 0;
}

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

TEST(Secrets, AreAllOfTheSystemsRandomBytes) {
  randomSource = kScripted;
  Service service;
  const Service::Account other = service.AddAccount("other@home.example");
  Client client(service);
  client.Open();
  const std::string album =
      client.Call("AddAlbum", " folderId=\"\" albumName=\"x\"").Attribute("albumId");
  randomSource = kBroken;
  EXPECT_THROW(Service(), std::runtime_error);
  randomSource = kSystem;
  std::set<char> letters;
  const std::string texts[] = {service.ApiKey(), service.AuthToken(), service.Secret(),
                               other.authToken,  other.secret,        client.token.substr(1),
                               album.substr(1),  PageToken(service)};
  for (const std::string& text : texts) {
    EXPECT_EQ(text.find_first_not_of(text[0]), std::string::npos) << text;
    EXPECT_GE(text.size(), 26u);
    letters.insert(text[0]);
  }
  EXPECT_EQ(letters.size(), std::size(texts));
}

std::string RefusalOf(const Service::Options& options) {
  try {
    const Service service(options);
    return {};
  } catch (const std::exception& error) {
    return error.what();
  }
}

std::string PutHead(const std::string& more) {
  return "PUT /P2PwebCmdController/api-manage?keloSessToken=x&callId=1&keloApiSig=x HTTP/1.1\r\n"
         "Host: x\r\n" +
         more + "\r\n\r\n";
}

TEST(DataDirectory, HasOneUserAndOnePort) {
  const TemporaryFolder folder;
  const Service::Options options{.dataDirectory = folder.Path("data")};
  int port = 0;
  {
    const Service service(options);
    port = PortOf(service.Url());
    EXPECT_NE(RefusalOf(options).find("another service uses the folder"), std::string::npos);
    EXPECT_EQ(RefusalOf({.port = port}), "cannot listen on 127.0.0.1:" + std::to_string(port) +
                                             ": Address already in use; choose another --port");
  }
  {
    const Service service(options);
    EXPECT_EQ(PortOf(service.Url()), port);
    const Service elsewhere;
    EXPECT_NE(PortOf(elsewhere.Url()), port);
  }
  const Service other({.port = port});
  EXPECT_NE(RefusalOf(options).find("already in use"), std::string::npos)
      << "the port of last time";
  EXPECT_EQ(RefusalOf({.dataDirectory = options.dataDirectory, .port = 0}), "");
}

TEST(DataDirectory, NamesADatabaseThatIsNone) {
  const TemporaryFolder folder;
  folder.Write("data/service.sqlite", std::string(10'000, 'x'));
  const std::string refusal = RefusalOf({.dataDirectory = folder.Path("data")});
  EXPECT_NE(refusal.find("data/service.sqlite: file is not a database"), std::string::npos)
      << refusal;
  EXPECT_EQ(folder.Read("data/service.sqlite"), std::string(10'000, 'x'));
}

TEST(DataDirectory, IsPrivateAndHoldsNothingThatIsNoOnes) {
  const TemporaryFolder folder;
  const std::string stray = "data/files/I" + std::string(26, 'A');
  folder.Write(stray, "half");
  folder.Write("data/files/notes.txt", "not ours");
  const mode_t before = umask(0);
  {
    Service service({.dataDirectory = folder.Path("data")});
    service.Import(KELO_SAMPLES_DIRECTORY "/mine");
    Client client(service);
    client.Open();
    EXPECT_EQ(Post(client, MakeUpload({{"a.jpg", "abc"}})).Outcome(), "ok");
    EXPECT_FALSE(fs::exists(folder.Path(stray)));
    EXPECT_EQ(folder.Read("data/files/notes.txt"), "not ours");
    fs::remove(folder.Path("data/files/notes.txt"));
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path("data")))
      if (entry.is_regular_file())
        EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write)
            << entry.path();
    EXPECT_EQ(RefusalOf({.dataDirectory = folder.Path("new/data")}), "");
    for (const char* made : {"new", "new/data", "new/data/files"})
      EXPECT_EQ(fs::status(folder.Path(made)).permissions(), fs::perms::owner_all) << made;
  }
  umask(before);
}

TEST_F(ServiceTest, AnImportStepsOverWhatItCannotRead) {
  const TemporaryFolder folder;
  folder.Write("top.jpg", "a");
  fs::create_directory(folder.Path("Empty"));
  folder.Write("Album/one.jpg", "b");
  folder.Write("Album/deep/deeper/two.jpg", "c");
  folder.Write("Other/three.jpg", "d");
  fs::create_directory_symlink("../..", folder.Path("Album/deep/circle"));
  fs::create_directory_symlink(".", folder.Path("Other/itself"));
  fs::create_directory_symlink("Album/deep", folder.Path("Zagain"));
  fs::create_symlink("nowhere", folder.Path("broken.jpg"));
  fs::create_symlink("endless.jpg", folder.Path("endless.jpg"));
  ASSERT_EQ(mkfifo(folder.Path("Album/pipe.jpg").c_str(), 0600), 0);
  std::set<std::string> passedOver;
  size_t done = 0;
  const ImportWatcher watcher{[&](size_t files) { done = files; },
                              [&](const std::string& path, const std::string& why) {
                                EXPECT_NE(why, "") << path;
                                passedOver.insert(path);
                              }};
  service.Import(folder.Path(""), watcher);
  const std::string tree = client.GetHierarchy().body;
  EXPECT_NE(tree.find("albumName=\"Empty\""), std::string::npos);
  auto names = Between(tree, "fileName=\"", "\"");
  std::ranges::sort(names);
  EXPECT_EQ(names, (std::vector<std::string>{"one.jpg", "three.jpg", "top.jpg", "two.jpg"}));
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(passedOver.size(), 6u);
  passedOver.clear();
  service.ImportFriend(folder.Path("Album"), watcher);
  EXPECT_EQ(
      Between(client.Call("GetForeignAlbumItems", " needDate=\"true\"").body, "fileName=\"", "\"")
          .size(),
      4u)
      << "the circle leads to the folder above, once";
}

// The steps of the database in a service's life; counted in tens.
size_t steps = 0;
int CountSteps(sqlite3* database, char**, const sqlite3_api_routines*) {
  const auto count = [](void*) {
    ++steps;
    return 0;
  };
  sqlite3_progress_handler(database, 10, count, nullptr);
  return SQLITE_OK;
}

TEST(ImportTest, ManyFilesOfOneNameTakeNoLongerThanManyNames) {
  const auto stepsFor = [](int files) {
    const TemporaryFolder folder;
    for (int i = 0; i < files; ++i)
      fs::last_write_time(folder.Write("Trip/One/" + std::to_string(i) + "/a.jpg", "x"),
                          fs::file_time_type(std::chrono::seconds(i)));
    steps = 0;
    Service imported;
    imported.Import(folder.Path(""));
    return steps;
  };
  const auto hook = reinterpret_cast<void (*)()>(CountSteps);
  ASSERT_EQ(sqlite3_auto_extension(hook), SQLITE_OK);
  EXPECT_LT(stepsFor(1600), 12 * stepsFor(200));
  sqlite3_cancel_auto_extension(hook);
}

TEST(DataDirectory, AFullDiskLeavesNoPartOfAnImportedFile) {
  const TemporaryFolder folder;
  folder.Write("pictures/big.jpg", std::string(3 << 20, 'x'));
  folder.Write("pictures/small.jpg", "x");
  Service service({.dataDirectory = folder.Path("data")});
  std::string passedOver;
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tight{2 << 20, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  service.Import(folder.Path("pictures"),
                 {{}, [&](const std::string& path, const std::string&) { passedOver += path; }});
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(passedOver, folder.Path("pictures/big.jpg"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("data/files")), {}), 1);
}

TEST_F(ServiceTest, HeadsAndBodiesAreBoundedBeforeTheyAreBelieved) {
  const std::string chunk = "100000\r\n" + std::string(1 << 20, 'x') + "\r\n";
  const std::string line = "X: " + std::string(1000, 'x') + "\r\n";
  std::string head = "GET / HTTP/1.1\r\n";
  for (int lines = 0; lines < 1000; ++lines) head += line;
  const std::tuple<const char*, std::string, std::string, const char*> cases[] = {
      {"announced", PutHead("Content-Length: 400000000"), "", "413"},
      {"in pieces", PutHead("Transfer-Encoding: chunked"), chunk + chunk, "413"},
      {"announced for an upload",
       "POST /P2PwebCmdController/api-upload HTTP/1.1\r\nContent-Length: 99999999999\r\n\r\n", "",
       "413"},
      {"for no method", "POST /any HTTP/1.1\r\nContent-Length: 2000000\r\n\r\n", "", "413"},
      {"a head without end", "", head, "400"},
  };
  for (const auto& [what, begin, rest, status] : cases) {
    const Peer peer(service);
    EXPECT_TRUE(peer.Send(begin)) << what;
    peer.Send(rest);
    EXPECT_TRUE(peer.Receive("\r\n\r\n").starts_with(std::string("HTTP/1.1 ") + status)) << what;
    EXPECT_LE(service.Arrived().back().body.size(), 2u << 20) << what;
  }
  // Part of a session, so it is read: and then it is no document.
  EXPECT_EQ(client.SendDocument(std::string(2 << 20, 'x')).Outcome(), "401");
  EXPECT_TRUE(service.Arrived().back().body.empty()) << "a large body is not kept";
}

TEST(SlowClients, AreLeft) {
  const Service service(
      {.headLimit = std::chrono::milliseconds(50), .bodyLimit = std::chrono::milliseconds(50)});
  const std::string requests[] = {"G", "GET /any HTTP/1.1\r\nHost",
                                  PutHead("Content-Length: 9") + "abc",
                                  PutHead("Transfer-Encoding: chunked") + "5\r\nab"};
  for (const std::string& request : requests) {
    const Peer peer(service);
    EXPECT_TRUE(peer.Send(request));
    EXPECT_EQ(peer.Receive().find(" 404 "), std::string::npos) << request;
    EXPECT_TRUE(peer.Ended()) << request;
  }
}

size_t ThreadCount() {
  return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/task"), {}));
}

TEST_F(ServiceTest, AThousandIdleConnectionsCostNoThreads) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  std::deque<Peer> idle;
  for (int i = 0; i < 1000; ++i) {
    idle.emplace_back(service);
    ASSERT_TRUE(idle.back().Connected()) << i;
  }
  const std::string unknown = "There is nothing at this address\n";
  const std::string request = "GET /any HTTP/1.1\r\nHost: x\r\n\r\n";
  for (const Peer& peer : idle) peer.Send(request);
  for (const Peer& peer : idle) ASSERT_TRUE(peer.Receive(unknown).ends_with(unknown));
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (ThreadCount() > 20 && std::chrono::steady_clock::now() < until) std::this_thread::yield();
  EXPECT_LE(ThreadCount(), 20u);
  EXPECT_EQ(client.GetHierarchy().Outcome(), "ok");
  for (const Peer& peer : idle) peer.Send(request);
  for (const Peer& peer : idle) ASSERT_TRUE(peer.Receive(unknown).ends_with(unknown));
}

TEST_F(ServiceTest, FiftyUploadsAtATimeHold) {
  std::deque<Peer> peers;
  std::vector<std::string> rest;
  for (int i = 0; i < 50; ++i) {
    const std::string name = std::to_string(i) + ".jpg";
    const Upload upload = MakeUpload({{name, std::string(300'000, static_cast<char>(i))}});
    const std::string request = PostText(client, upload);
    peers.emplace_back(service);
    ASSERT_TRUE(peers.back().Send(request.substr(0, 200'000)));
    rest.push_back(request.substr(200'000));
  }
  for (size_t i = 0; i < peers.size(); ++i) ASSERT_TRUE(peers[i].Send(rest[i]));
  for (const Peer& peer : peers)
    EXPECT_NE(peer.Receive("</response>\r\n").find("stat=\"ok\""), std::string::npos);
  EXPECT_EQ(client.Call("GetStorageCapacity").Attribute("dataCapacity"), "15000000");
}

}  // namespace
}  // namespace kelo::devservice
