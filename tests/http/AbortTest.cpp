// Abort from another thread in the phases of a request before its answer. Its races with the end of
// one are in tests/interface. Run under the thread sanitizer too.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "http/HTTPTestSupport.h"
#include "http/SocketServer.h"

namespace kelo {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kAtOnce = 2s;  // far below the time-outs; the benchmark measures the real bound
constexpr std::uint32_t kLong = 60;  // a time-out that a test never sees

// Name lookups of one host that hang until they are let go.
class HangingLookup {
 public:
  static constexpr const char* kHost = "hangs.invalid";

  HangingLookup() { released_ = false; }
  ~HangingLookup() {
    released_ = true;
    released_.notify_all();
    for (int inside; (inside = inside_) > 0;) inside_.wait(inside);
  }
  void Hang() {
    ++inside_;
    inside_.notify_all();
    released_.wait(false);
    --inside_;
    inside_.notify_all();
  }
  static void WaitUntilHanging() { inside_.wait(0); }

 private:
  // Static: the last to leave still looks at them.
  static inline std::atomic<bool> released_;
  static inline std::atomic<int> inside_;
};

std::atomic<HangingLookup*> hangingLookup = nullptr;

// A port that accepts nothing and refuses nothing: its queue is full.
class FullPort {
 public:
  FullPort() {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    listener_ = Socket();
    bind(listener_, reinterpret_cast<sockaddr*>(&address_), size);
    listen(listener_, 0);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address_), &size);
    for (int& filler : fillers_) {
      filler = Socket();
      connect(filler, reinterpret_cast<sockaddr*>(&address_), size);
    }
  }
  FullPort(const FullPort&) = delete;
  FullPort& operator=(const FullPort&) = delete;
  ~FullPort() {
    for (const int filler : fillers_) close(filler);
    close(listener_);
  }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)); }

 private:
  static int Socket() { return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }
  sockaddr_in address_{};
  int listener_ = -1;
  int fillers_[4] = {};
};

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
  const FullPort port;
  Transport transport;
  ExpectPromptAbort(
      transport, [&] { return transport.Get(port.Url(), "", kLong); },
      [] { std::this_thread::sleep_for(100ms); });  // nothing outside shows a connect that hangs
  const auto begun = Clock::now();
  EXPECT_EQ(transport.Get(port.Url(), "", 1), 4098u) << "connecting counts as silence";
  EXPECT_LT(Clock::now() - begun, 5s);
}

TEST(Abort, WhileANameLookupHangs) {
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  };
  SocketServer server(AnswerAll("fine"));
  const auto before = threads();
  Transport transport;
  const std::string url = std::string("http://") + HangingLookup::kHost;
  const auto timesOut = [&] { return transport.Get(url, "", 1) == 4098u; };
  {
    HangingLookup lookup;
    hangingLookup = &lookup;
    ExpectPromptAbort(
        transport, [&] { return transport.Get(url, "", kLong); },
        [&] { HangingLookup::WaitUntilHanging(); });
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
    hangingLookup = nullptr;
  }
  const std::string local = "http://localhost:" + std::to_string(server.Port());
  EXPECT_EQ(transport.Get(local), 0u);
}

}  // namespace
}  // namespace kelo

// Stands before the system's for this program and the libraries it loads.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  kelo::HangingLookup* const lookup = kelo::hangingLookup;
  if (lookup != nullptr && node != nullptr && std::strcmp(node, kelo::HangingLookup::kHost) == 0) {
    lookup->Hang();
    return EAI_FAIL;
  }
  static const auto system =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}
