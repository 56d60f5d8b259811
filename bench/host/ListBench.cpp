// Listing a large account: the processor time of the whole program.
#include <memory>

#include "catalogue/SampleAccount.h"
#include "host/Kelo.h"

namespace kelo::bench {
namespace {

void List100000Items(benchmark::State& state) {
  devservice::Service service;
  const auto answer = std::make_shared<std::string>(
      SampleHierarchyAnswer({Sized<size_t>(100000, 1000), Sized<size_t>(1000, 10)}));
  service.SetScript([answer](const devservice::ClientRequest& request) {
    std::optional<devservice::Reply> reply;
    if (request.method == "GetHierarchy") reply = devservice::Reply{.body = *answer};
    return reply;
  });
  Kelo kelo(service);
  std::vector<double> times;
  for (auto _ : state) {
    times.push_back(kelo.Run({"ls", "--all"}));
    if (times.back() < 0) return state.SkipWithError("kelo failed");
    state.SetIterationTime(times.back());
  }
  TellBounded(state, "processor_ms", MiddleOf(times) * 1000, 300);
}
BENCHMARK(List100000Items)->UseManualTime()->Iterations(Sized(7, 1))->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
