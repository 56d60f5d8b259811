// Masking of secrets.
#include "devservice/http/RequestRecord.h"

#include <algorithm>
#include <string_view>

namespace kelo::devservice {
namespace {

constexpr std::string_view kSecretNames[] = {
    "keloSessToken=", "keloAuthToken=", "keloApiKey=", "keloApiSig="};
constexpr std::string_view kMask = "***";

}  // namespace

std::string MaskSecrets(std::string text) {
  for (const std::string_view name : kSecretNames) {
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
