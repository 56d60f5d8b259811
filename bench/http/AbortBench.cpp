// How long a request takes to end once another thread aborts it, in each phase that can hang.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "Measure.h"
#include "http/HTTPConnection.h"
#include "http/SinkServer.h"

namespace kelo::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kHangingHost = "hangs.invalid";
std::atomic<bool> lookupMayEnd = false;

// Lets the request run for a while, aborts it, and takes the time from there to its end.
void Measure(benchmark::State& state, HTTPConnection& connection,
             const std::function<TransportCode()>& request) {
  double worst = 0;
  for (auto _ : state) {
    Clock::time_point asked;
    std::thread aborter([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(60));
      asked = Clock::now();
      connection.HTTPAbort();
    });
    const TransportCode code = request();
    const auto ended = Clock::now();
    aborter.join();
    if (code != TransportCode::Aborted) state.SkipWithError("the request was not aborted");
    const double seconds = std::chrono::duration<double>(ended - asked).count();
    worst = std::max(worst, seconds);
    state.SetIterationTime(seconds);
  }
  TellBounded(state, "worst_ms", worst * 1000, 100);
}

void AbortSilentAnswer(benchmark::State& state) {
  SinkServer server;
  HTTPConnection connection;
  std::string response;
  const std::string url = server.Url("/silent");
  Measure(state, connection,
          [&] { return connection.HTTPRequestPUT({.url = url, .body = "b"}, response); });
}

void AbortSlowDownload(benchmark::State& state) {
  SinkServer server;
  HTTPConnection connection;
  const Scratch scratch;
  std::uint32_t size = 0;
  const std::string url = server.Url("/slow");
  const std::string path = scratch / "f";
  Measure(state, connection,
          [&] { return connection.HTTPFileDownload({.url = url, .destPath = path}, size); });
}

void AbortHangingConnect(benchmark::State& state) {
  // A listener that never accepts: once its queue is full, connecting to it hangs.
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  int sockets[5];
  for (int& fd : sockets) fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (bind(sockets[0], reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(sockets[0], 0) != 0 ||
      getsockname(sockets[0], reinterpret_cast<sockaddr*>(&address), &size) != 0)
    state.SkipWithError("no listener");
  for (int i = 1; i < 5; ++i) connect(sockets[i], reinterpret_cast<sockaddr*>(&address), size);
  HTTPConnection connection;
  std::string response;
  const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  Measure(state, connection, [&] { return connection.HTTPRequestGET({.url = url}, response); });
  for (const int fd : sockets) close(fd);
}

void AbortHangingLookup(benchmark::State& state) {
  HTTPConnection connection;
  std::string response;
  const std::string url = std::string("http://") + kHangingHost;
  Measure(state, connection, [&] { return connection.HTTPRequestGET({.url = url}, response); });
  lookupMayEnd = true;
  lookupMayEnd.notify_all();
}

BENCHMARK(AbortSilentAnswer)
    ->UseManualTime()
    ->Iterations(Sized(20, 1))
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AbortSlowDownload)
    ->UseManualTime()
    ->Iterations(Sized(20, 1))
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AbortHangingConnect)
    ->UseManualTime()
    ->Iterations(Sized(20, 1))
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AbortHangingLookup)
    ->UseManualTime()
    ->Iterations(Sized(20, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench

// Stands before the system's for this program and the libraries it loads.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  if (node != nullptr && std::strcmp(node, kelo::bench::kHangingHost) == 0) {
    kelo::bench::lookupMayEnd.wait(false);
    return EAI_FAIL;
  }
  static const auto system =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}
