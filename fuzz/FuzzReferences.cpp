// The reference conversions against the step-by-step ones, and the round trip: composed text comes
// back as it went, unless it holds an ampersand (what it begins may be decoded twice).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/ReferenceModel.h"
#include "text/XMLUtility.h"

namespace {

using namespace kelo;
using Conversion = std::uint32_t (XMLUtility::*)(std::string_view, std::string&) const;

void Require(bool condition) {
  if (!condition) std::abort();
}

model::Text Convert(Conversion conversion, const std::string& text) {
  std::string out = "old";
  if ((XMLUtility().*conversion)(text, out) == 0) {
    Require(out.empty());
    return std::nullopt;
  }
  return out;
}

void RoundTrip(const std::string& text, const model::Text& encoded) {
  if (!encoded) return;
  for (const char c : *encoded) {
    Require((c & 0x80) == 0 && c != '<' && c != '>' && c != '"' && c != '\'' && c != '\r' &&
            c != '\n');
  }
  const model::Text composed = model::Compose(text);
  const model::Text decoded = Convert(&XMLUtility::ConvertStringReferenceToUTF8, *encoded);
  Require(decoded.has_value());
  if (composed->find('&') == std::string::npos) Require(decoded == composed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const model::Text encoded = Convert(&XMLUtility::ConvertStringUTF8ToReference, text);
  Require(encoded == model::ToReferences(text));
  RoundTrip(text, encoded);
  Require(Convert(&XMLUtility::ConvertStringReferenceToUTF8, text) == model::FromReferences(text));
  Require(Convert(&XMLUtility::ConvertStringUTF8ToEntityReference, text) ==
          model::ToEntities(text));
  Require(Convert(&XMLUtility::ConvertStringEntityReferenceToUTF8, text) ==
          model::FromEntities(text));
  Require(Convert(&XMLUtility::ConvertStringUTF8ToCharacterReference, text) ==
          model::ToCharacterReferences(text));
  Require(Convert(&XMLUtility::ConvertStringCharacterReferenceToUTF8, text) ==
          model::FromCharacterReferences(text));
  return 0;
}
