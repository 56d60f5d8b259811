// The library in the life of a process: it forks, it ends while a command runs, it has more rights
// than its caller, its digests fail.

#include <dlfcn.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "http/SocketServer.h"
#include "support/Child.h"
#include "support/CommandTest.h"

namespace {
std::atomic<bool> digestsFail = false;
bool leavesMemory = false;
}  // namespace

// Stand before the library's own.
extern "C" EVP_MD* EVP_MD_fetch(OSSL_LIB_CTX* context, const char* name, const char* properties) {
  if (digestsFail) return nullptr;
  static const auto real =
      reinterpret_cast<decltype(&EVP_MD_fetch)>(dlsym(RTLD_NEXT, "EVP_MD_fetch"));
  return real(context, name, properties);
}
extern "C" int EVP_Digest(const void* data, size_t size, unsigned char* digest,
                          unsigned int* length, const EVP_MD* type, ENGINE* engine) {
  if (digestsFail) return 0;
  static const auto real = reinterpret_cast<decltype(&EVP_Digest)>(dlsym(RTLD_NEXT, "EVP_Digest"));
  return real(data, size, digest, length, type, engine);
}
// What the leak sanitizer asks, where there is one. A process that ends under a running command, or
// leaves its parent's handles alone, leaves memory; one with other rights cannot be looked into.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return leavesMemory ? 1 : 0;
}

namespace kelo::testing {
namespace {

constexpr const char* kCapacity = "<r stat=\"ok\" dataCapacity=\"1\" storageCapacity=\"2\" />";

class ProcessTest : public CommandTest {
 protected:
  static int InChild(const std::function<int()>& work) {
#ifdef __SANITIZE_ADDRESS__
    // Its allocator is no good after a fork at which another thread held its lock.
    EXPECT_TRUE(Await(OthersSleep));
#endif
    return testing::InChild([&] {
      leavesMemory = true;
      alarm(30);
      return work();
    });
  }

  // Whether all other threads of this process sleep.
  static bool OthersSleep() {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
      if (thread.path().filename() == std::to_string(gettid())) continue;
      std::string line;
      std::ifstream stat(thread.path() / "stat");
      std::getline(stat, line);
      const size_t name = line.rfind(')');
      if (name != std::string::npos && !line.substr(name).starts_with(") S")) return false;
    }
    return true;
  }
};

TEST_F(ProcessTest, SendsNothingUnsigned) {
  ::testing::internal::CaptureStderr();
  // Twice: before the digest was ever found, and when it is known but fails.
  for (int round = 0; round < 2; ++round) {
    digestsFail = true;
    EXPECT_EQ(Open(), 4144u);
    tagKELO_SessionInfo session = SessionAt(Url());
    UseSession(session);
    EXPECT_EQ(Capacity(), 4144u);
    EXPECT_EQ(Send(kKELOCommand_CloseSession, Record()), 4144u);
    EXPECT_EQ(Send(kKELOCommand_ExtendTokenLimit, Record(&session)), 0u);
    std::string path = folder().Write("f", "f");
    tagKELO_LoadInfo file = UploadOf(path, 1);
    EXPECT_EQ(SendOne(kKELOCommand_Upload, &file), 4144u);
    EXPECT_EQ(service().RequestCount(), 0u);
    digestsFail = false;
    OpenSession();
    EXPECT_EQ(Capacity(), 0u);
    service().ClearArrived();
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(ProcessTest, AForkedChildHasConnectionsOfItsOwn) {
  SocketServer server(AnswerAll(kCapacity));
  UseSession(SessionAt(server.Url()));
  ASSERT_EQ(Capacity(), 0u);
  ASSERT_EQ(server.Connections(), 1);
  EXPECT_EQ(InChild([&] {
              const bool fine = Capacity() == 0 && Capacity() == 0;
              KELOAccessClose();
              return fine ? 0 : 1;
            }),
            0);
  EXPECT_EQ(server.Connections(), 2) << "the child needs one, and keeps it";
  EXPECT_TRUE(Await([&] { return server.Closed() == 1; })) << "the child's";
  EXPECT_EQ(InChild([] { return KELOAccessClose(), 0; }), 0);
  EXPECT_EQ(Capacity(), 0u);
  EXPECT_EQ(server.Connections(), 2) << "the parent goes on with its own";
  EXPECT_EQ(server.Requests().size(), 4u);
}

TEST_F(ProcessTest, AChildClosesNothingOfTheHost) {
  constexpr size_t kConnections = 40;
  SocketServer server([](Peer& peer) {
    peer.ReadRequest();
    const bool last = peer.Index() == kConnections;
    peer.Reply(200, kOk, last ? "" : "Connection: close\r\n");
    if (last) peer.WaitUntilClosed();
  });
  const auto descriptors = [](const std::string& kind) {
    std::set<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (read_symlink(entry.path(), gone).string().starts_with(kind))
        found.insert(std::stoi(entry.path().filename()));
    }
    return found;
  };
  UseSession(SessionAt(server.Url()));
  std::set<int> files;
  for (size_t i = 0; i < kConnections; ++i) {  // each takes the number of a closed connection
    Capacity();
    files.insert(open(folder().Write("f", "f").c_str(), O_RDONLY));
  }
  const auto before = descriptors("socket:");
  Capacity();
  const int probe = open("/dev/null", O_RDONLY);
  EXPECT_GT(probe, *files.rbegin()) << "the numbers of the connections were not used again";
  EXPECT_EQ(InChild([&] {
              const size_t inherited = descriptors("socket:").size();
              KELOAccessClose();
              const bool closed = descriptors("socket:").size() < inherited;
              return closed && descriptors(folder().Path("f")) == files ? 0 : 1;
            }),
            0);
  close(probe);
  for (const int file : files) close(file);
}

#ifndef __SANITIZE_ADDRESS__  // the other threads never sleep

// What a child finds that is forked off while other threads use the library, by what they do.
TEST_F(ProcessTest, AForkLeavesNothingLocked) {
  std::atomic<bool> silent = false;
  SocketServer server([&](Peer& peer) {
    while (!peer.ReadRequest().empty())
      if (!silent) peer.Reply(200, kCapacity);
  });
  const tagKELO_SessionInfo session = SessionAt(server.Url());
  const auto abort = [] { return KELOAccessCommand(kKELOCommand_Abort, nullptr); };
  UseSession(session);
  std::atomic<bool> over = false;
  std::vector<std::thread> others;
  for (int i = 0; i < 2; ++i)
    others.emplace_back([&] {
      while (!over) abort();
    });
  const std::vector<std::pair<const char*, std::function<int()>>> uses = {
      {"aborts", [&] { return abort(); }},
      {"asks", [&] { return Capacity(); }},
      {"begins anew", [&] {
         KELOAccessClose();
         KELOAccessInitialize(0);
         UseSession(session);
         return Capacity();
       }}};
  for (int round = 0; round < 10; ++round)
    for (const auto& [name, use] : uses)
      if (!HasFailure()) EXPECT_EQ(InChild(use), 0) << name << ", no command runs";
  over = true;
  for (std::thread& other : others) other.join();

  const size_t before = server.Requests().size();
  silent = true;
  std::thread command([&] { EXPECT_EQ(Capacity(), uint32_t{kKELOResult_Aborted}); });
  ASSERT_TRUE(Await([&] { return server.Requests().size() > before; }));
  EXPECT_EQ(InChild([&] { return abort(); }), 0);
  EXPECT_EQ(InChild([&] { return KELOAccessClose(), 0; }), 0);
  silent = false;
  EXPECT_EQ(InChild([&] {
              const bool fresh = Capacity() == kKELOResult_NoSession;
              UseSession(session);
              return fresh && Capacity() == 0 ? 0 : 1;
            }),
            0);
  abort();
  command.join();
}

// A child that returns from the event in which it was forked has no part in the request.
TEST_F(ProcessTest, AForkInsideAnEventLeavesTheRequestToTheParent) {
  static pid_t child;
  const std::string content(4 << 20, 'x');
  service().SetScript([&](const ClientRequest&) { return ReplyWith(content); });
  UseSession(SessionAt(Url()));
  Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t {
    if (child == 0 && (child = fork()) == 0) child = -1;
    return 0;
  });
  for (const uint32_t code : {kKELOCommand_Download, kKELOCommand_Upload}) {
    SCOPED_TRACE(code);
    child = 0;
    std::string source = folder().Write("f", content);
    tagKELO_LoadInfo upload = UploadOf(source, static_cast<uint32_t>(content.size()));
    const bool loads = code == kKELOCommand_Download;
    const uint32_t result = loads ? Download(Url() + "/large") : SendOne(code, &upload);
    if (child == -1) _exit(result == kKELOResult_Aborted ? 0 : 1);
    EXPECT_EQ(ExitCodeOf(child), 0);
    EXPECT_EQ(loads ? result : 0, 0u);
    EXPECT_EQ(service().RequestCount(), 1u);
    service().ClearArrived();
    if (loads) EXPECT_TRUE(folder().Read("downloaded") == content);
  }
}

#endif

TEST_F(ProcessTest, EndsWhileACommandRuns) {
  service().SetScript([](const ClientRequest& request) -> std::optional<Reply> {
    Reply reply = ReplyWith(kCapacity);
    if (request.verb != "GET") return reply;
    reply.bytesPerSecond = 100'000;  // a download, without an end
    reply.body.assign(10 << 20, 'x');
    return reply;
  });
  UseSession(SessionAt(Url()));
  static std::atomic<int> events;
  for (int i = 0; i < 20; ++i) {
    events = 0;
    Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t {
      ++events;
      events.notify_all();
      return 0;
    });
    EXPECT_EQ(InChild([&]() -> int {
                std::thread([&] {
                  while (Capacity() == 0 && events < 1) Download(Url() + "/large");
                  for (;;) Capacity();
                }).detach();
                events.wait(0);
                exit(7);  // NOLINT: what a host does
              }),
              7)
        << i;
    std::filesystem::remove(DownloadPath());
  }
}

// A test that starts its own program with the rights of somebody else, and is what that runs.
constexpr const char* kUrlForPrivileged = "KELO_TEST_PRIVILEGED_URL";

using PrivilegedProcess = ProcessTest;

TEST_F(PrivilegedProcess, DoesNotListenToTheEnvironment) {
  if (const char* url = getenv(kUrlForPrivileged)) {
    leavesMemory = true;
    UseSession(SessionAt(url));
    EXPECT_EQ(Capacity(), 0u);
    return;
  }
  SocketServer server(AnswerAll(kCapacity));
  const std::string copy = folder().Path("program");
  std::filesystem::copy_file("/proc/self/exe", copy);
  const std::string trace = folder().Path("trace");
  const std::string keys = folder().Path("keys");
  const std::string command = std::string(kUrlForPrivileged) + "=" + server.Url() +
                              " KELO_TRACE=" + trace + " SSLKEYLOGFILE=" + keys +
                              " http_proxy=http://127.0.0.1:1 " + copy +
                              " --gtest_filter=PrivilegedProcess.* >/dev/null";
  // With the rights of its caller it goes to the proxy, which isn't there, and traces that.
  EXPECT_NE(system(command.c_str()), 0);
  EXPECT_TRUE(std::filesystem::exists(trace));
  EXPECT_EQ(server.Connections(), 0);
  std::filesystem::remove(trace);
  std::filesystem::remove(keys);
  constexpr uid_t kNobody = 65534;
  if (chown(copy.c_str(), kNobody, kNobody) != 0 || chmod(copy.c_str(), 04755) != 0)
    GTEST_SKIP() << "only root can give a program other rights";
  ASSERT_EQ(chmod(folder().Path().c_str(), 0777), 0);
  EXPECT_EQ(system(command.c_str()), 0);
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_FALSE(std::filesystem::exists(trace));
  EXPECT_FALSE(std::filesystem::exists(keys));
}

}  // namespace
}  // namespace kelo::testing
