// The library in the life of a process: it forks, it ends while a command runs, it has more rights
// than its caller, its digests fail.

#include <dlfcn.h>
#include <openssl/evp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "http/SocketServer.h"
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

class ProcessTest : public CommandTest {
 protected:
  // Runs `work` in a child and gives its exit code.
  static int InChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
};

TEST_F(ProcessTest, SendsNothingUnsigned) {
  ::testing::internal::CaptureStderr();
  // Twice: before the digest was ever found, and when it is known but fails.
  for (int round = 0; round < 2; ++round) {
    digestsFail = true;
    EXPECT_EQ(Open(), 4144u);
    tagKELO_SessionInfo session = ScriptedSession();
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
    service().ClearLog();
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(ProcessTest, AForkedChildHasConnectionsOfItsOwn) {
  SocketServer server([](Peer& peer) {
    while (!peer.ReadRequest().empty())
      peer.Reply(200, "<r stat=\"ok\" dataCapacity=\"1\" storageCapacity=\"2\" />");
  });
  tagKELO_SessionInfo session = ScriptedSession();
  SetField(session.manageUrl, server.Url());
  UseSession(session);
  ASSERT_EQ(Capacity(), 0u);
  ASSERT_EQ(server.Connections(), 1);
  EXPECT_EQ(InChild([&] {
              leavesMemory = true;
              const bool fine = Capacity() == 0 && Capacity() == 0;
              KELOAccessClose();
              return fine ? 0 : 1;
            }),
            0);
  EXPECT_EQ(server.Connections(), 2) << "the child needs one, and keeps it";
  EXPECT_TRUE(server.WaitForClosed(1)) << "the child's";
  EXPECT_EQ(InChild([] { return KELOAccessClose(), 0; }), 0);
  EXPECT_EQ(Capacity(), 0u);
  EXPECT_EQ(server.Connections(), 2) << "the parent goes on with its own";
  EXPECT_EQ(server.Requests().size(), 4u);
}

TEST_F(ProcessTest, EndsWhileACommandRuns) {
  service().SetScript([](const LoggedRequest& request) -> std::optional<Reply> {
    Reply reply = ReplyWith("<r stat=\"ok\" dataCapacity=\"1\" storageCapacity=\"2\" />");
    if (request.method != "GET") return reply;
    reply.chunkSize = 100;  // a download, without an end
    reply.chunkDelay = std::chrono::milliseconds(1);
    reply.body.assign(10 << 20, 'x');
    return reply;
  });
  UseSession(ScriptedSession());
  static std::atomic<int> events;
  // The address sanitizer's allocator is no good after a fork at which another thread held its
  // lock, as the service's do when the child before has gone.
#ifdef __SANITIZE_ADDRESS__
  constexpr int kChildren = 1;
#else
  constexpr int kChildren = 20;
#endif
  for (int i = 0; i < kChildren; ++i) {
    events = 0;
    Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t {
      ++events;
      events.notify_all();
      return 0;
    });
    std::string path = folder().Path("download");
    EXPECT_EQ(InChild([&]() -> int {
                leavesMemory = true;
                std::thread([&] {
                  tagKELO_DownloadInfo file = DownloadOf(Url() + "/large", path);
                  while (Capacity() == 0 && events < 1) SendOne(kKELOCommand_Download, &file);
                  for (;;) Capacity();
                }).detach();
                events.wait(0);
                exit(7);  // NOLINT: what a host does
              }),
              7)
        << i;
    std::filesystem::remove(path);
  }
}

// A test that starts its own program with the rights of somebody else, and is what that runs.
constexpr const char* kUrlForPrivileged = "KELO_TEST_PRIVILEGED_URL";

void AskAt(const char* url) {
  KELOAccessInitialize(0);
  tagKELO_SessionInfo session{};
  SetField(session.token, "T");
  SetField(session.manageUrl, url);
  tagCommandControlInfo record{};
  record.data = &session;
  ASSERT_EQ(KELOAccessCommand(kKELOCommand_SetSessionInfo, &record), 0u);
  tagKELO_StorageCapacityInfo capacity{};
  record.data = &capacity;
  EXPECT_EQ(KELOAccessCommand(kKELOCommand_GetStorageCapacity, &record), 0u);
  KELOAccessClose();
}

TEST(PrivilegedProcess, DoesNotListenToTheEnvironment) {
  if (const char* url = getenv(kUrlForPrivileged)) {
    leavesMemory = true;
    return AskAt(url);
  }
  SocketServer server([](Peer& peer) {
    peer.ReadRequest();
    peer.Reply(200, "<r stat=\"ok\" dataCapacity=\"1\" storageCapacity=\"2\" />");
  });
  const TemporaryFolder folder;
  const std::string copy = folder.Path("program");
  std::filesystem::copy_file("/proc/self/exe", copy);
  const std::string trace = folder.Path("trace");
  const std::string keys = folder.Path("keys");
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
  ASSERT_EQ(chmod(std::filesystem::path(copy).parent_path().c_str(), 0777), 0);
  EXPECT_EQ(system(command.c_str()), 0);
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_FALSE(std::filesystem::exists(trace));
  EXPECT_FALSE(std::filesystem::exists(keys));
}

}  // namespace
}  // namespace kelo::testing
