// Abort from another thread in the phases of a request before its answer. Its races with the end of
// one are in tests/interface. Run under the thread sanitizer too.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstring>

#include "http/HTTPTestSupport.h"
#include "http/SocketServer.h"
#include "platform/AbortSignal.h"
#include "platform/FileStream.h"

namespace kelo {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kAtOnce = 2s;  // far below the time-outs; the benchmark measures the real bound
constexpr std::uint32_t kLong = 60;  // a time-out that a test never sees

// Lookups of this name hang until they are let go.
constexpr const char* kHangingHost = "hangs.invalid";
std::atomic<bool> lookupsHang = true;
std::atomic<int> hangingLookups = 0;

void HangInLookup() {
  ++hangingLookups;
  hangingLookups.notify_all();
  lookupsHang.wait(true);
  --hangingLookups;
  hangingLookups.notify_all();
}

// A URL at which nothing is accepted and nothing refused: the port's queue is full while these
// live.
std::string FullPort(std::array<FileDescriptor, 5>& sockets) {
  sockaddr_in address{};
  auto* const place = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  for (FileDescriptor& descriptor : sockets) {
    descriptor = FileDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (&descriptor != &sockets[0]) {
      connect(descriptor.Get(), place, size);
      continue;
    }
    bind(descriptor.Get(), place, size);
    listen(descriptor.Get(), 0);
    getsockname(descriptor.Get(), place, &size);
  }
  return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

// Runs `request` here, aborts it from another thread once `underWay` has returned, and checks that
// both ended at once.
void ExpectPromptAbort(Transport& transport, const std::function<TransportCode()>& request,
                       const std::function<void()>& underWay) {
  Clock::time_point asked;
  Clock::time_point answered;
  std::atomic<bool> ended = false;
  std::thread aborter([&] {
    underWay();
    asked = Clock::now();
    transport.connection.HTTPAbort();
    answered = Clock::now();
    EXPECT_TRUE(ended || answered - asked < kAtOnce);
  });
  const TransportCode code = request();
  const auto over = Clock::now();
  ended = true;
  aborter.join();
  EXPECT_EQ(code, 1u);
  EXPECT_LT(over - asked, kAtOnce);
  EXPECT_LT(answered - asked, kAtOnce);
  EXPECT_EQ(transport.folder.EntryCount(), 0u);
}

TEST(Abort, WhileABodyIsStuck) {
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    while (peer.Pause(10s)) {
    }
  });
  Transport transport;
  std::atomic<bool> begun = false;
  transport.progress.reaction = [&] {
    begun = true;
    begun.notify_all();
  };
  TemporaryFolder files;
  const std::string file = files.Write("f", std::string(32 << 20, 'x'));
  ExpectPromptAbort(
      transport,
      [&] {
        return transport.Send(server.Url(), {{"", file, 32 << 20}}, kLong);
      },
      [&] { begun.wait(false); });
}

TEST(Abort, WhileConnectingHangs) {
  std::array<FileDescriptor, 5> sockets;
  const std::string url = FullPort(sockets);
  Transport transport;
  ExpectPromptAbort(
      transport, [&] { return transport.Get(url, "", kLong); },
      [] { std::this_thread::sleep_for(100ms); });  // nothing outside shows a connect that hangs
  const auto begun = Clock::now();
  EXPECT_EQ(transport.Get(url, "", 1), 4098u) << "connecting counts as silence";
  EXPECT_LT(Clock::now() - begun, 5s);
}

TEST(Abort, WhileANameLookupHangs) {
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  };
  SocketServer server(AnswerAll("fine"));
  const auto before = threads();
  Transport transport;
  const std::string url = std::string("http://") + kHangingHost;
  const auto timesOut = [&] { return transport.Get(url, "", 1) == 4098u; };
  ExpectPromptAbort(
      transport, [&] { return transport.Get(url, "", kLong); }, [] { hangingLookups.wait(0); });
  EXPECT_TRUE(timesOut());
  // However many are given up, by loaders that come and go, few threads wait for the name server.
  for (int i = 0; i < 30; ++i) {
    Transport other;
    std::atomic<bool> over = false;
    std::thread aborter([&] {
      while (!over) {
        std::this_thread::sleep_for(20ms);  // time for a lookup to begin; some may come too soon
        other.connection.HTTPAbort();
      }
    });
    const auto begun = Clock::now();
    EXPECT_EQ(other.Get(url, "", kLong), 1u);
    EXPECT_LT(Clock::now() - begun, kAtOnce);
    over = true;
    aborter.join();
  }
  EXPECT_TRUE(timesOut()) << "waiting for a lookup to end";
  EXPECT_LE(threads(), before + 5);  // one may just be ending
  lookupsHang = false;
  lookupsHang.notify_all();
  for (int left; (left = hangingLookups) > 0;) hangingLookups.wait(left);
  const std::string local = "http://localhost:" + std::to_string(server.Port());
  EXPECT_EQ(transport.Get(local), 0u);
}

// It returns at once, and is heard by all requests of the command that follow.
TEST(Abort, BetweenTwoRequests) {
  SocketServer server(AnswerAll("fine"));
  const auto signal = std::make_shared<AbortSignal>();
  Transport transport(MakeURLLoader(), "", signal);
  const std::string existing = transport.folder.Write("existing", "here");
  {
    const AbortSignal::CommandScope command(*signal);
    EXPECT_EQ(transport.Get(server.Url()), 0u);
    std::thread([&] { signal->Raise(); }).join();
    EXPECT_EQ(transport.Put(server.Url(), "body"), 1u);
    EXPECT_EQ(transport.DownloadTo(server.Url(), existing), 1u);
    EXPECT_EQ(transport.Send(server.Url(), {{"", "none", 1}}), 1u);
    EXPECT_EQ(server.Requests().size(), 1u);
  }
  EXPECT_EQ(transport.Get(server.Url()), 0u);
}

}  // namespace
}  // namespace kelo

// Stands before the system's for this program and the libraries it loads.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  if (node != nullptr && std::strcmp(node, kelo::kHangingHost) == 0) {
    kelo::HangInLookup();
    return EAI_FAIL;
  }
  static const auto system =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}
