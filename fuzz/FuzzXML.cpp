// XML extraction against the plain model. Input: start key, end key and source, each ended by a
// line break (the source by the end of the input).
#include <cstddef>
#include <cstdlib>

#include "text/XMLModel.h"

namespace {

using namespace kelo;

std::string TakeLine(std::string_view& input) {
  const std::size_t length = input.find('\n');
  const std::string line(input.substr(0, length));
  input.remove_prefix(length == std::string_view::npos ? input.size() : length + 1);
  return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string start = TakeLine(input);
  const std::string end = TakeLine(input);
  const std::string source(input);
  if (!model::Disagreement(source, start, end).empty()) std::abort();
  return 0;
}
