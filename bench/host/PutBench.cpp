// Storing 20,000 small pictures, and finding all of them stored: the whole program beside bare
// libcurl that sends the requests, put together beforehand, to a service of its own.
#include "host/Kelo.h"
#include "host/Replay.h"

namespace kelo::bench {
namespace {

const unsigned kFiles = Sized(20000u, 50u);
constexpr unsigned kSizes = 4999;  // so many bytes at most follow a picture, to make sizes differ

// Seconds; negative when it failed.
struct Times {
  double ours = -1;
  double bare = -1;
};

// Puts by both, each to its service.
class Pair {
 public:
  explicit Pair(unsigned connections) : kelo_(ours_), replay_(bare_), connections_(connections) {}

  Times First(const std::string& folder) {
    ours_.ClearArrived();
    const double ours = Put(folder);
    return {.ours = ours, .bare = Replayed()};
  }

  // The requests are those of a machine that remembers nothing: it asks the service about each
  // file.
  Times Second(const std::string& folder) {
    Kelo stranger(ours_);
    ours_.ClearArrived();
    const bool asked = stranger.Run({"put", folder}) >= 0;
    const double bare = Replayed();
    return {.ours = Put(folder), .bare = asked ? bare : -1};
  }

 private:
  double Put(const std::string& folder) {
    bool ok = true;
    const double time = Seconds(kWallTime, [&] { ok = kelo_.Run({"put", folder}) >= 0; });
    return ok ? time : -1;
  }
  double Replayed() {
    replay_.Prepare(ours_.Arrived());
    bool ok = true;
    const double time = Seconds(kWallTime, [&] { ok = replay_.Send(connections_); });
    return ok ? time : -1;
  }

  devservice::Service ours_;
  devservice::Service bare_;
  Kelo kelo_;
  Replay replay_;
  const unsigned connections_;
};

// Arguments: whether it is the second put; the connections of the yardstick. One is what a host
// has that waits for each answer; kelo has four.
void Put20000Files(benchmark::State& state) {
  const bool second = state.range(0) == 1;
  const auto connections = static_cast<unsigned>(state.range(1));
  KeepInMemory();
  const Scratch folder;
  const auto size = std::filesystem::file_size(KELO_SAMPLE);
  for (unsigned i = 0; i < kFiles; ++i)
    MakePicture(folder / (std::to_string(i) + ".jpg"), size + i * 7919 % kSizes);
  std::vector<double> ours;
  std::vector<double> bare;
  for (auto _ : state) {
    Pair pair(connections);
    Times times = pair.First(folder / "");
    if (second && times.ours >= 0 && times.bare >= 0) times = pair.Second(folder / "");
    if (times.ours < 0 || times.bare < 0) return state.SkipWithError("a put failed");
    ours.push_back(times.ours);
    bare.push_back(times.bare);
    state.SetIterationTime(times.ours);
  }
  const double bound = second ? 0.7 : 1.0;
  TellRatio(state, ours, bare, connections == 1 ? bound : bound * 2.5);
}
BENCHMARK(Put20000Files)
    ->ArgNames({"second", "connections"})
    ->ArgsProduct({{0, 1}, {1, 4}})
    ->UseManualTime()
    ->Iterations(Sized(3, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
