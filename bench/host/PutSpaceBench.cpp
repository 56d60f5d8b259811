// The most memory that storing 100,000 pictures takes, and finding them all stored: of the whole
// program, workers included.
#include <algorithm>
#include <fstream>

#include "host/Kelo.h"

namespace kelo::bench {
namespace {

const unsigned kFiles = Sized(100'000u, 50u);

// kB of the process and its descendants; what they share counts once.
std::uint64_t SpaceOf(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process) + "/";
  std::uint64_t space = 0;
  std::ifstream maps(folder + "smaps_rollup");
  for (std::string word; maps >> word;)
    if (word == "Pss:") maps >> space;
  std::error_code ended;
  for (const auto& task : std::filesystem::directory_iterator(folder + "task", ended)) {
    std::ifstream children(task.path() / "children");
    for (pid_t child = 0; children >> child;) space += SpaceOf(child);
  }
  return space;
}

// Argument: whether it is the second put.
void SpaceOfPut(benchmark::State& state) {
  KeepInMemory();
  const Scratch folder;
  for (unsigned i = 0; i < kFiles; ++i)
    MakePicture(folder / (std::to_string(i) + ".jpg"), 5000 + i % 5000);
  const devservice::Service service;
  Kelo kelo(service);
  std::uint64_t most = 0;
  for (auto _ : state) {
    const bool isReady = state.range(0) == 0 || kelo.Run({"put", folder / ""}) >= 0;
    const bool isDone = isReady && kelo.Run({"put", folder / ""}, [&](pid_t process) {
      most = std::max(most, SpaceOf(process));
    }) >= 0;
    if (!isDone) return state.SkipWithError("a put failed");
  }
  TellBounded(state, "space_MB", static_cast<double>(most) * 1024 / 1e6, 150);
}
BENCHMARK(SpaceOfPut)
    ->ArgName("second")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
