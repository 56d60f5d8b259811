// The reference conversions against the step-by-step ones, and the round trip: composed text comes
// back as it went, unless it holds an ampersand (what it begins may be decoded twice).
#include <cstddef>

#include "text/ReferenceModel.h"

namespace {

using namespace kelo::model;

void Require(bool condition) {
  if (!condition) std::abort();
}

void RoundTrip(const std::string& text, const Text& encoded) {
  if (!encoded) return;
  for (const char c : *encoded) {
    Require((c & 0x80) == 0 && c != '<' && c != '>' && c != '"' && c != '\'' && c != '\r' &&
            c != '\n');
  }
  const Text composed = Compose(text);
  const Text decoded = Convert(kDecode, *encoded);
  Require(decoded.has_value());
  if (composed->find('&') == std::string::npos) Require(decoded == composed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const auto& [conversion, steps] : kConversions)
    Require(Convert(conversion, text) == steps(text));
  RoundTrip(text, Convert(kEncode, text));
  return 0;
}
