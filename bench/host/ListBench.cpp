// Listing a large account: the processor time of the whole program.
#include <memory>

#include "catalogue/SampleAccount.h"
#include "host/Kelo.h"

namespace kelo::bench {
namespace {

constexpr double kBound = 0.3;  // seconds

void List100000Items(benchmark::State& state) {
  devservice::Service service;
  const auto answer = std::make_shared<std::string>(SampleHierarchyAnswer({}));
  service.SetScript([answer](const devservice::LoggedRequest& request) {
    std::optional<devservice::Reply> reply;
    if (request.apiMethod == "GetHierarchy") reply = devservice::Reply{.body = *answer};
    return reply;
  });
  Kelo kelo(service);
  std::vector<double> times;
  for (auto _ : state) {
    times.push_back(kelo.Run({"ls", "--all"}));
    if (times.back() < 0) return state.SkipWithError("kelo failed");
    state.SetIterationTime(times.back());
  }
  state.counters["processor_ms"] = MiddleOf(times) * 1000;
  state.counters["of_bound"] = MiddleOf(times) / kBound;
}
BENCHMARK(List100000Items)->UseManualTime()->Iterations(7)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
