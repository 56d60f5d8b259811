// Masking of tokens.
#include "devservice/http/RequestRecord.h"

#include <algorithm>
#include <string_view>

namespace kelo::devservice {
namespace {

constexpr std::string_view kTokenNames[] = {"keloSessToken=", "keloAuthToken="};
constexpr std::string_view kMask = "***";

}  // namespace

std::string MaskTokens(std::string text) {
  for (const std::string_view name : kTokenNames) {
    std::size_t at = 0;
    while ((at = text.find(name, at)) != std::string::npos) {
      at += name.size();
      if (at < text.size() && text[at] == '"') ++at;
      const std::size_t end = std::min(text.find_first_of("&\" ", at), text.size());
      text.replace(at, end - at, kMask);
    }
  }
  return text;
}

}  // namespace kelo::devservice
