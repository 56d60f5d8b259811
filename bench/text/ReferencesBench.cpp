// Converting 1 MiB of text to references and back, in bytes of UTF-8 a second. Bounds: 100 MiB/s
// for ASCII without markup, 30 MiB/s for Japanese. The yardstick is copying the same text.
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "text/XMLUtility.h"

namespace kelo {
namespace {

enum Kind { kAscii, kMarkup, kJapanese, kDecomposed };

constexpr std::size_t kSize = 1 << 20;

std::string MakeText(Kind kind) {
  static constexpr std::string_view kPieces[] = {
      "A day at the lake, DSC01234.JPG; ", "<a href=\"x\">R&D</a>\r\n",
      "\u6771\u4EAC\u306E\u6625\u3001\u685C\u304C\u54B2\u304F\u3002\u30D1\u30FC\u30C6\u30A3\u30FC",
      "e\u0301te\u0301 \u304B\u3099 "};
  std::string text;
  while (text.size() + kPieces[kind].size() <= kSize) text += kPieces[kind];
  return text;
}

void Count(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void Copy(benchmark::State& state) {
  const std::string text = MakeText(kAscii);
  for (auto _ : state) {
    std::string out = text;
    benchmark::DoNotOptimize(out.data());
  }
  Count(state, text.size());
}
BENCHMARK(Copy)->Name("yardstick: copy 1 MiB");

void ToReferences(benchmark::State& state, Kind kind) {
  const std::string text = MakeText(kind);
  std::string out;
  for (auto _ : state)
    if (XMLUtility().ConvertStringUTF8ToReference(text, out) != 1)
      state.SkipWithError("not converted");
  Count(state, text.size());
}

void FromReferences(benchmark::State& state, Kind kind) {
  const std::string text = MakeText(kind);
  std::string encoded;
  XMLUtility().ConvertStringUTF8ToReference(text, encoded);
  std::string out;
  for (auto _ : state)
    if (XMLUtility().ConvertStringReferenceToUTF8(encoded, out) != 1)
      state.SkipWithError("not converted");
  if (kind != kDecomposed && out != text) state.SkipWithError("the text came back changed");
  Count(state, text.size());
}

void ThereAndBack(benchmark::State& state, Kind kind) {
  const std::string text = MakeText(kind);
  std::string encoded;
  std::string out;
  for (auto _ : state) {
    XMLUtility().ConvertStringUTF8ToReference(text, encoded);
    XMLUtility().ConvertStringReferenceToUTF8(encoded, out);
    benchmark::DoNotOptimize(out.data());
  }
  Count(state, text.size());
}

#define KELO_KINDS(function)                        \
  BENCHMARK_CAPTURE(function, ASCII, kAscii);       \
  BENCHMARK_CAPTURE(function, markup, kMarkup);     \
  BENCHMARK_CAPTURE(function, Japanese, kJapanese); \
  BENCHMARK_CAPTURE(function, decomposed, kDecomposed)

KELO_KINDS(ToReferences);
KELO_KINDS(FromReferences);
KELO_KINDS(ThereAndBack);

}  // namespace
}  // namespace kelo
