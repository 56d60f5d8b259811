// XML extraction against the plain model. Input: start key, end key and source, each ended by a
// line break (the source by the end of the input).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/XMLModel.h"
#include "text/XMLSearch.h"
#include "text/XMLUtility.h"

namespace {

using namespace kelo;

void Require(bool condition) {
  if (!condition) std::abort();
}

std::string TakeLine(std::string_view& input) {
  const std::size_t length = input.find('\n');
  const std::string line(input.substr(0, length));
  input.remove_prefix(length == std::string_view::npos ? input.size() : length + 1);
  return line;
}

// A result is a view into the source and nothing else.
void RequireInside(std::string_view source, std::string_view value) {
  Require(value.data() >= source.data());
  Require(value.data() + value.size() <= source.data() + source.size());
}

void Single(const std::string& source, const std::string& start, const std::string& end) {
  const auto outermost = FindOutermost(source, start, end);
  Require(outermost == model::Outermost(source, start, end));
  const auto inside = FindInside(source, start, end);
  Require(inside == model::Inside(source, start, end));
  for (const auto& value : {outermost, inside})
    if (value) RequireInside(source, *value);
  // As a name, the start key finds what its attribute key does.
  std::string value = "old";
  const std::uint32_t found = XMLUtility().GetAttribute(source, start, value);
  const auto expected =
      start.empty() ? std::optional<std::string>() : model::Inside(source, start + "=\"", "\"");
  Require(found == (expected ? 1u : 0u));
  Require(value == expected.value_or(source.empty() || start.empty() ? "old" : ""));
}

void Lists(const std::string& source, const std::string& start, const std::string& end) {
  const XMLUtility xml;
  std::vector<std::string> values;
  xml.GetValuesInsideKeys(source, start, end, values);
  Require(values == model::All(source, start, end, false));
  values.clear();
  xml.GetValuesBetweenKeys(source, start, end, values);
  Require(values == model::All(source, start, end, true));
  xml.GetValuesForTag(source, start, values);
  Require(values == model::All(source, "<" + start + ">", "</" + start + ">", false));
  xml.GetValuesWithElement(source, start, values);
  Require(values == model::All(source, "<" + start + " ", "</" + start + ">", true));
  std::string replaced;
  xml.ReplaceAllString(source, start, end, replaced);
  Require(replaced == model::Replace(source, start, end));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string start = TakeLine(input);
  const std::string end = TakeLine(input);
  const std::string source(input);
  Single(source, start, end);
  Lists(source, start, end);
  return 0;
}
