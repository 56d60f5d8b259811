// Storing and fetching over a line: the whole program beside libcurl's multi interface, which
// sends the requests that carried the files, put together beforehand, over as many connections
// through the same line. What else the program asks the service is its own affair. And beside the
// line itself, since a yardstick of the same requests does not show whether they are well cut.
#include <functional>
#include <optional>

#include "host/Kelo.h"
#include "host/Replay.h"
#include "line/Line.h"

namespace kelo::bench {
namespace {

using devservice::ClientRequest;
using std::chrono::milliseconds;

const Line::Terms kTerms{.latency = milliseconds(Sized(25, 2)),
                         .bytesPerSecond = Sized(1'000'000u, 20'000'000u)};

class Pictures {
 public:
  Pictures(unsigned count, std::uint64_t size) : bytes_(count * size) {
    KeepInMemory();
    folder_.emplace();
    for (unsigned i = 0; i < count; ++i) MakePicture(*folder_ / (std::to_string(i) + ".jpg"), size);
  }
  static Pictures Many() { return {Sized(1000u, 10u), 50'000}; }
  static Pictures Large() { return {Sized(8u, 3u), Sized(10'000'000u, 100'000u)}; }

  std::string Folder() const { return *folder_ / ""; }
  std::uint64_t Bytes() const { return bytes_; }

 private:
  const std::uint64_t bytes_;
  std::optional<Scratch> folder_;
};

// The requests that a client has sent over one connection.
std::vector<ClientRequest> RequestsIn(const std::string& sent) {
  std::vector<ClientRequest> requests;
  for (std::size_t at = 0; at < sent.size();) {
    const std::size_t end = sent.find("\r\n\r\n", at) + 4;
    const std::string head = sent.substr(at, end - at);
    const auto header = [&](const std::string& name) {
      const std::size_t begin = head.find("\r\n" + name + ": ");
      if (begin == head.npos) return std::string();
      const std::size_t value = begin + name.size() + 4;
      return head.substr(value, head.find("\r\n", value) - value);
    };
    const std::size_t path = head.find(' ') + 1;
    const std::string length = header("Content-Length");
    ClientRequest& request = requests.emplace_back();
    request.verb = head.substr(0, path - 1);
    request.path = head.substr(path, head.find_first_of(" ?", path) - path);
    request.headers = {{"Content-Type", header("Content-Type")}};
    request.body = sent.substr(end, length.empty() ? 0 : std::stoul(length));
    at = end + request.body.size();
  }
  return requests;
}

// One service after the other, so that both clients begin with the same account.
struct Run {
  const std::string verb;  // of the requests that carry files
  const unsigned transfers;
  const std::uint64_t bytes;
  Line line{kTerms};
  std::vector<double> ours{};
  std::vector<double> bare{};
  std::size_t requests = 0;        // that carry files
  std::size_t requestsBeyond = 0;  // that only the program makes, some of them once more

  // The program with these words, and then the yardstick. Whether both went well.
  bool Round(const devservice::Service& service, std::vector<std::string> words,
             const devservice::Service& yardstick) {
    Kelo kelo(service, line.Proxy());
    Replay replay(yardstick, line.Proxy());
    const Scratch fetched;
    line.TakeSent();
    words.insert(words.end(), {"--transfers", std::to_string(transfers)});
    bool ok = true;
    ours.push_back(Seconds(kWallTime, [&] { ok = kelo.Run(words) >= 0; }));
    replay.Prepare(CarryingFiles());
    bare.push_back(Seconds(kWallTime, [&] { ok = replay.Send(transfers, fetched / "") && ok; }));
    return ok;
  }

  // The largest first, which leaves the least to wait for at the end. What was sent again, having
  // been refused, is no work of the yardstick's.
  std::vector<ClientRequest> CarryingFiles() {
    std::vector<ClientRequest> carrying;
    requestsBeyond = 0;
    for (const std::string& sent : line.TakeSent()) {
      for (ClientRequest& request : RequestsIn(sent)) {
        const auto isSame = [&](const ClientRequest& other) {
          return other.path == request.path && other.body == request.body;
        };
        if (request.verb == verb && std::ranges::none_of(carrying, isSame))
          carrying.push_back(std::move(request));
        else
          ++requestsBeyond;
      }
    }
    std::ranges::stable_sort(carrying, std::ranges::greater(),
                             [](const ClientRequest& request) { return request.body.size(); });
    requests = carrying.size();
    return carrying;
  }

  void Tell(benchmark::State& state, double bound) const {
    TellRatio(state, ours, bare, bound);
    // No client is faster: every connection is always busy, and a fetched file takes a round trip.
    const std::chrono::duration<double> way = kTerms.latency;
    const double trips = verb == "GET" ? static_cast<double>(requests) : 0;
    const auto rate = static_cast<double>(kTerms.bytesPerSecond);
    const double least = (static_cast<double>(bytes) / rate + trips * 2 * way.count()) / transfers;
    state.counters["line_ms"] = least * 1000;
    TellBounded(state, "ratio_to_line", MiddleOf(ours) / least, bound);
    state.counters["requests"] = static_cast<double>(requests);
    state.counters["requests_beyond"] = static_cast<double>(requestsBeyond);
  }
};

void Get(benchmark::State& state, const Pictures& pictures, double bound) {
  devservice::Service service;
  service.Import(pictures.Folder());
  Run run{
      .verb = "GET", .transfers = static_cast<unsigned>(state.range(0)), .bytes = pictures.Bytes()};
  for (auto _ : state) {
    const Scratch to;
    if (!run.Round(service, {"get", "--all", "--to", to / ""}, service))
      return state.SkipWithError("a get failed");
    state.SetIterationTime(run.ours.back());
  }
  run.Tell(state, bound);
}

void Put(benchmark::State& state, const Pictures& pictures, double bound) {
  Run run{.verb = "POST",
          .transfers = static_cast<unsigned>(state.range(0)),
          .bytes = pictures.Bytes()};
  for (auto _ : state) {
    devservice::Service service;
    devservice::Service yardstick;
    if (!run.Round(service, {"put", pictures.Folder()}, yardstick))
      return state.SkipWithError("a put failed");
    state.SetIterationTime(run.ours.back());
  }
  run.Tell(state, bound);
}

void Times(benchmark::internal::Benchmark* benchmark, int rounds) {
  benchmark->ArgName("transfers")
      ->UseManualTime()
      ->Iterations(Sized(rounds, 1))
      ->Unit(benchmark::kMillisecond);
}
// A round of these takes seconds,
void Often(benchmark::internal::Benchmark* benchmark) {
  Times(benchmark, 3);
}
// and one of these a minute or more. Of that, most is waiting for the line.
void Once(benchmark::internal::Benchmark* benchmark) {
  Times(benchmark, 1);
}

void GetManyFiles(benchmark::State& state) {
  Get(state, Pictures::Many(), 1.15);
}
void PutManyFiles(benchmark::State& state) {
  Put(state, Pictures::Many(), 1.2);
}
void GetLargeFiles(benchmark::State& state) {
  Get(state, Pictures::Large(), 1.2);
}
void PutLargeFiles(benchmark::State& state) {
  Put(state, Pictures::Large(), 1.2);
}
BENCHMARK(GetManyFiles)->Apply(Once)->Arg(1)->Arg(4);
BENCHMARK(GetManyFiles)->Apply(Often)->Arg(16);
BENCHMARK(PutManyFiles)->Apply(Once)->Arg(4);
BENCHMARK(GetLargeFiles)->Apply(Once)->Arg(4);
BENCHMARK(PutLargeFiles)->Apply(Once)->Arg(4);

}  // namespace
}  // namespace kelo::bench
