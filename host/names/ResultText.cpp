// Adds to the library's words what a user of this program can do.
#include "host/names/ResultText.h"

#include <fmt/format.h>

#include <string_view>

#include "KELOAccess.hpp"

namespace kelo::host {
namespace {

constexpr std::string_view kLogInAgain = "; log in again with 'kelo login'";

bool IsEndedSession(std::string_view words) {
  return words == kelo::ResultWords(kKELOResult_NoSession);
}

}  // namespace

std::string ResultWords(std::uint32_t code, std::uint32_t command) {
  const std::string_view words = kelo::ResultWords(code, command);
  return fmt::format("{}{}", words, IsEndedSession(words) ? kLogInAgain : "");
}

std::string ResultText(std::uint32_t code, std::uint32_t command) {
  return fmt::format("{} ({})", ResultWords(code, command), code);
}

std::string Sentence(const std::exception& failure) {
  std::string sentence = failure.what();
  const auto* error = dynamic_cast<const kelo::Error*>(&failure);
  if (error != nullptr && IsEndedSession(error->Words()))
    sentence.insert(sentence.rfind(" ("), kLogInAgain);
  return sentence;
}

}  // namespace kelo::host
