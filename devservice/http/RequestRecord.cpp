// Masking of secrets.
#include "devservice/http/RequestRecord.h"

#include <algorithm>
#include <string_view>

namespace kelo::devservice {
namespace {

constexpr std::string_view kSecretNames[] = {
    "keloSessToken=", "keloAuthToken=", "keloApiKey=", "keloApiSig=", "token="};
constexpr std::string_view kMask = "***";

void MaskBehindNames(std::string& text) {
  for (const std::string_view name : kSecretNames) {
    std::size_t at = 0;
    while ((at = text.find(name, at)) != std::string::npos) {
      at += name.size();
      if (at < text.size() && text[at] == '"') ++at;
      const std::size_t end = std::min(text.find_first_of("&\" ", at), text.size());
      text.replace(at, end - at, kMask);
    }
  }
}

// Keys, tokens and secrets are of these letters. The ids of entries are, too: 27 of them, with a
// "T" in front only where it is a session's token.
constexpr std::string_view kLetters = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
bool IsCredential(std::string_view run) {
  constexpr std::size_t idSize = 27;
  return run.size() > idSize || (run.size() == idSize && run.front() == 'T');
}

constexpr std::string_view kHexadecimal = "0123456789abcdef";
bool IsSignature(std::string_view run) {
  constexpr std::size_t sha1Size = 40;
  return run.size() == sha1Size;
}

// Runs of these characters for which `isSecret` holds.
void MaskRuns(std::string& text, std::string_view characters, bool (*isSecret)(std::string_view)) {
  for (std::size_t at = 0; (at = text.find_first_of(characters, at)) != std::string::npos;) {
    const std::size_t end = std::min(text.find_first_not_of(characters, at), text.size());
    const bool masked = isSecret(std::string_view(text).substr(at, end - at));
    if (masked) text.replace(at, end - at, kMask);
    at = masked ? at + kMask.size() : end;
  }
}

}  // namespace

void MaskSecrets(RequestRecord& record) {
  for (std::string* text : {&record.path, &record.query, &record.method, &record.errorText,
                            &record.document, &record.answer}) {
    MaskBehindNames(*text);
    MaskRuns(*text, kLetters, &IsCredential);
    MaskRuns(*text, kHexadecimal, &IsSignature);
  }
}

}  // namespace kelo::devservice
