// XML extraction against the plain model. Input: start key, end key and source, each ended by a
// line break (the source by the end of the input).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "text/XMLModel.h"
#include "text/XMLSearch.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string start = TakeLine(input);
  const std::string end = TakeLine(input);
  const std::string source(input);
  for (const auto& value : {FindOutermost(source, start, end), FindInside(source, start, end)})
    if (value) RequireInside(source, *value);
  Require(model::Disagreement(source, start, end).empty());
  return 0;
}
