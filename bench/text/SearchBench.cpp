// Cutting answers up, and replacement, small and large, since all of it must be linear. The
// yardstick is what a host would write: a general XML parser for elements, std::string for the
// rest.
#include <pugixml.hpp>
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

// Parses the answer and hands over each value of kNames.
template <typename Use>
void ReadWithParser(const std::string& answer, Use use) {
  pugi::xml_document document;
  document.load_buffer(answer.data(), answer.size(), pugi::parse_default | pugi::parse_fragment);
  for (const pugi::xml_node item : document.children("item"))
    for (const std::string_view name : kNames) use(item.attribute(name.data()).value());
}

// Argument: items. Without copies, as the loading of the hierarchy reads it.
void ReadItems(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  std::size_t ours = 0;
  std::size_t parsed = 0;
  const auto read = [&] {
    ours = 0;
    ForEachElement(
        answer, "item",
        [&](const XMLTag& item) {
          for (const std::string_view value : ReadAttributes(item.attributes, kNames))
            ours += value.size();
        });
  };
  const auto parse = [&] {
    parsed = 0;
    ReadWithParser(answer, [&](std::string_view value) { parsed += value.size(); });
  };
  Compare(state, 1.0, read, parse, kProcessorTime);
  if (ours == 0 || ours != parsed) state.SkipWithError("the two have read different values");
}

// The same through the copying class.
void CopyItems(benchmark::State& state) {
  const std::string answer = MakeAnswer(static_cast<int>(state.range(0)));
  const XMLUtility xml;
  std::string value;
  std::string parsed;
  const auto copy = [&] {
    std::vector<std::string> items;
    xml.GetValuesWithElement(answer, "item", items);
    for (const std::string& item : items)
      for (const std::string_view name : kNames) xml.GetAttribute(item, name, value);
  };
  const auto parse = [&] { ReadWithParser(answer, [&](const char* text) { parsed = text; }); };
  Compare(state, 2.0, copy, parse, kProcessorTime);
  if (value.empty() || value != parsed) state.SkipWithError("the two have read different values");
}

// An end key that is missing, searched backwards through everything.
void SearchBackwards(benchmark::State& state) {
  const std::string answer = "<list>" + MakeAnswer(static_cast<int>(state.range(0)));
  std::string value;
  std::size_t found = 0;
  const auto ours = [&] { XMLUtility().GetValueForOutermostTag(answer, "list", value); };
  const auto plain = [&] {
    found = answer.rfind("</list>");
    benchmark::DoNotOptimize(found);
  };
  Compare(state, 2.0, ours, plain, kProcessorTime);
  if (found != std::string::npos) state.SkipWithError("the end key is there");
}

// Argument: bytes. Every second one is replaced by a longer text.
void ReplaceAll(benchmark::State& state) {
  std::string source;
  while (source.size() < static_cast<std::size_t>(state.range(0))) source += "&x";
  std::string out;
  std::string plain;
  const auto ours = [&] { XMLUtility().ReplaceAllString(source, "&", "&amp;", out); };
  const auto replace = [&] {
    std::string result;
    std::size_t from = 0;
    for (std::size_t at = 0; (at = source.find('&', from)) != std::string::npos; from = at + 1)
      result.append(source, from, at - from).append("&amp;");
    result.append(source, from);
    plain = std::move(result);
  };
  Compare(state, 2.0, ours, replace, kProcessorTime);
  if (out != plain) state.SkipWithError("not replaced");
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
