// Cutting answers up, and replacement, beside copying the same text: small and large, since all of
// it must be linear.
#include <string>
#include <string_view>
#include <vector>

#include "Measure.h"
#include "text/XMLElements.h"
#include "text/XMLUtility.h"

namespace kelo::bench {
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

constexpr std::string_view kNames[] = {"itemId",     "fileName",   "fileFormat", "shotDate",
                                       "modifyDate", "uploadDate", "screenUrl",  "origUrl"};

// Beside copying the text that the work is about.
template <typename Work>
void CompareToCopy(benchmark::State& state, double bound, const std::string& text, Work work) {
  const auto copy = [&] {
    std::string out = text;
    benchmark::DoNotOptimize(out.data());
  };
  Compare(state, bound, work, copy, kProcessorTime);
}

// Argument: items. Without copies, as the loading of the hierarchy reads it.
void ReadItems(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  std::size_t found = 0;
  CompareToCopy(state, 30, answer, [&] {
    ForEachElement(answer, "item", [&](const XMLTag& item) {
      for (const std::string_view value : ReadAttributes(item.attributes, kNames))
        found += value.size();
    });
  });
  if (found == 0) state.SkipWithError("nothing found");
}

// The same through the copying class.
void CopyItems(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  const XMLUtility xml;
  std::string value;
  CompareToCopy(state, 80, answer, [&] {
    std::vector<std::string> items;
    xml.GetValuesWithElement(answer, "item", items);
    for (const std::string& item : items)
      for (const std::string_view name : kNames) xml.GetAttribute(item, name, value);
  });
  if (value.empty()) state.SkipWithError("nothing found");
}

// An end key that is missing, searched backwards through everything.
void SearchBackwards(benchmark::State& state) {
  const std::string answer = "<list>" + MakeAnswer(static_cast<int>(state.range(0)));
  std::string value;
  CompareToCopy(state, 25, answer,
                [&] { XMLUtility().GetValueForOutermostTag(answer, "list", value); });
}

// Argument: bytes. Every second one is replaced by a longer text.
void ReplaceAll(benchmark::State& state) {
  std::string source;
  while (source.size() < static_cast<std::size_t>(state.range(0))) source += "&x";
  std::string out;
  CompareToCopy(state, 200, source,
                [&] { XMLUtility().ReplaceAllString(source, "&", "&amp;", out); });
  if (out.size() != source.size() * 3) state.SkipWithError("not replaced");
}

#define KELO_SEARCH(name, argument, small, large) \
  BENCHMARK(name)                                 \
      ->ArgName(argument)                         \
      ->Arg(small)                                \
      ->Arg(Sized(large, small))                  \
      ->UseManualTime()                           \
      ->Iterations(Sized(21, 1))                  \
      ->Unit(benchmark::kMillisecond)

KELO_SEARCH(ReadItems, "items", 1000, 100000);
KELO_SEARCH(CopyItems, "items", 1000, 100000);
KELO_SEARCH(SearchBackwards, "items", 1000, 100000);
KELO_SEARCH(ReplaceAll, "bytes", 1 << 12, 1 << 24);

}  // namespace
}  // namespace kelo::bench
