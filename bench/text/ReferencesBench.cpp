// Converting 1 MiB of text to references and back, beside copying it.
#include <string>
#include <string_view>

#include "Measure.h"
#include "text/XMLUtility.h"

namespace kelo::bench {
namespace {

// Bounds: of the ratio there and back, and of the milliseconds, where there is one: 100 MiB a
// second for ASCII without markup, 30 for Japanese.
struct Sample {
  const char* name;
  std::string_view piece;
  bool comesBack;
  double ratioBound;
  double msBound = 0;
};
constexpr Sample kSamples[] = {
    {"ASCII", "A day at the lake, DSC01234.JPG; ", true, 40, 10},
    {"markup", "<a href=\"x\">R&D</a>\r\n", true, 200},
    {"Japanese",
     "\u6771\u4EAC\u306E\u6625\u3001\u685C\u304C\u54B2\u304F\u3002\u30D1\u30FC\u30C6\u30A3\u30FC",
     true, 250, 1000.0 / 30},
    {"decomposed", "e\u0301te\u0301 \u304B\u3099 ", false, 500},
};

// Argument: the sample.
template <bool kTo, bool kFrom>
void Convert(benchmark::State& state) {
  const Sample& sample = kSamples[state.range(0)];
  state.SetLabel(sample.name);
  const std::size_t size = Sized(1 << 20, 1 << 10);
  std::string text;
  while (text.size() < size) text += sample.piece;
  std::string encoded;
  std::string out;
  const auto to = [&] {
    if (XMLUtility().ConvertStringUTF8ToReference(text, encoded) != 1)
      state.SkipWithError("not converted");
  };
  const auto work = [&] {
    if (kTo) to();
    if (kFrom && XMLUtility().ConvertStringReferenceToUTF8(encoded, out) != 1)
      state.SkipWithError("not converted");
  };
  const auto copy = [&] {
    std::string copied = text;
    benchmark::DoNotOptimize(copied.data());
  };
  to();
  Compare(state, sample.ratioBound, work, copy, kProcessorTime);
  if (sample.msBound > 0) TellBounded(state, "ms", state.counters["ours_ms"], sample.msBound);
  if (kFrom && sample.comesBack && out != text) state.SkipWithError("the text came back changed");
}

#define KELO_CONVERT(name, to, from)                             \
  BENCHMARK(Convert<to, from>)                                   \
      ->Name(name)                                               \
      ->ArgName("text")                                          \
      ->DenseRange(0, static_cast<int>(std::size(kSamples)) - 1) \
      ->UseManualTime()                                          \
      ->Iterations(Sized(51, 1))

KELO_CONVERT("ToReferences", true, false);
KELO_CONVERT("FromReferences", false, true);
KELO_CONVERT("ThereAndBack", true, true);

}  // namespace
}  // namespace kelo::bench
