// Cutting a large answer up, and replacement, which must be linear. The yardstick is copying the
// same text.
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>
#include <vector>

#include "text/XMLSearch.h"
#include "text/XMLUtility.h"

namespace kelo {
namespace {

std::string MakeAnswer(int items) {
  std::string text;
  for (int i = 0; i < items; ++i) {
    text += "<item itemId=\"000000000000000000" + std::to_string(100000000 + i) +
            "\" fileName=\"DSC01234.JPG\" fileFormat=\"image/jpeg\" width=\"3000\" height=\"2000\""
            " shotDate=\"2008-01-01T00:00:00Z\" modifyDate=\"2008-01-01T00:00:00Z\""
            " uploadDate=\"2008-01-01T00:00:00Z\" screenUrl=\"http://127.0.0.1/screen/0123456789\""
            " origUrl=\"http://127.0.0.1/original/0123456789\"></item>\r\n";
  }
  return text;
}

constexpr const char* kNames[] = {"itemId",     "fileName",   "fileFormat", "shotDate",
                                  "modifyDate", "uploadDate", "screenUrl",  "origUrl"};

void CopyAnswer(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::string out = answer;
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer.size()));
}
BENCHMARK(CopyAnswer)->Name("yardstick: copy the answer")->Arg(100000);

// Without copies, as the loading of the hierarchy reads it.
void ReadItems(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  std::size_t found = 0;
  for (auto _ : state) {
    ForEachBetween(
        answer, "<item ", "</item>",
        [&](std::string_view item) {
          for (const char* name : kNames) found += FindAttribute(item, name)->size();
        });
  }
  benchmark::DoNotOptimize(found);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer.size()));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ReadItems)->RangeMultiplier(10)->Range(1000, 100000)->Complexity(benchmark::oN);

// The same through the copying class.
void CopyItems(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  const XMLUtility xml;
  std::string value;
  for (auto _ : state) {
    std::vector<std::string> items;
    xml.GetValuesWithElement(answer, "item", items);
    for (const std::string& item : items)
      for (const char* name : kNames) xml.GetAttribute(item, name, value);
  }
  benchmark::DoNotOptimize(value.data());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer.size()));
}
BENCHMARK(CopyItems)->Arg(100000);

// An end key that is missing, searched backwards through everything.
void SearchBackwards(benchmark::State& state) {
  const std::string answer = "<list>" + MakeAnswer(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(FindOutermostTag(answer, "list"));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer.size()));
}
BENCHMARK(SearchBackwards)->Arg(100000);

// Every second byte is replaced by a longer text: the time for each byte stays the same.
void ReplaceAll(benchmark::State& state) {
  std::string source;
  while (source.size() < static_cast<std::size_t>(state.range(0))) source += "&x";
  std::string out;
  for (auto _ : state) {
    XMLUtility().ReplaceAllString(source, "&", "&amp;", out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ReplaceAll)->RangeMultiplier(16)->Range(1 << 12, 1 << 24)->Complexity(benchmark::oN);

}  // namespace
}  // namespace kelo
