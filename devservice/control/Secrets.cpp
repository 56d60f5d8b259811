// Masks secrets in a record: by the name before them, and by their letters and length.
#include <algorithm>
#include <string_view>

#include "devservice/control/RequestLog.h"

namespace kelo::devservice {
namespace {

constexpr std::string_view kSecretNames[] = {
    "keloSessToken=", "keloAuthToken=", "keloApiKey=", "keloApiSig=", "token="};
constexpr std::string_view kMask = "***";

void MaskBehindNames(std::string& text) {
  for (const std::string_view name : kSecretNames) {
    size_t at = 0;
    while ((at = text.find(name, at)) != std::string::npos) {
      at += name.size();
      if (at < text.size() && text[at] == '"') ++at;
      const size_t end = std::min(text.find_first_of("&\" ", at), text.size());
      text.replace(at, end - at, kMask);
    }
  }
}

bool IsBetween(char c, char first, char last) {
  return c >= first && c <= last;
}

// Keys, tokens and secrets are of these letters, but a client may send small ones. The ids of
// entries are, too: of the least length, with a "T" in front only where it is a session's token.
template <char kA>
struct CredentialRuns {
  static constexpr size_t kLeast = 27;
  static constexpr char kI = kA + ('I' - 'A');
  static constexpr char kO = kA + ('O' - 'A');
  static constexpr char kT = kA + ('T' - 'A');
  static constexpr char kF = kA + ('F' - 'A');
  static bool Has(char c) {
    return (IsBetween(c, kA, kA + 25) && c != kI && c != kO) || IsBetween(c, '2', '9');
  }
  static bool IsSecret(std::string_view run) {
    const bool isDigest = std::ranges::all_of(run, [](char c) { return c <= kF; });
    return !isDigest && (run.size() > kLeast || run.front() == kT);
  }
};

struct SignatureRuns {
  static constexpr size_t kLeast = 40;
  static bool Has(char c) {
    return IsBetween(c, '0', '9') || IsBetween(c, 'a', 'f') || IsBetween(c, 'A', 'F');
  }
  static bool IsSecret(std::string_view run) { return run.size() == kLeast; }
};

template <typename Runs>
void MaskRuns(std::string& text) {
  // No run that is long enough lies between these places.
  for (size_t at = Runs::kLeast - 1; at < text.size(); at += Runs::kLeast) {
    if (!Runs::Has(text[at])) continue;
    size_t begin = at;
    size_t end = at + 1;
    while (begin > 0 && Runs::Has(text[begin - 1])) --begin;
    while (end < text.size() && Runs::Has(text[end])) ++end;
    const size_t length = end - begin;
    if (length >= Runs::kLeast && Runs::IsSecret(std::string_view(text).substr(begin, length))) {
      text.replace(begin, length, kMask);
      end = begin + kMask.size();
    }
    at = end - 1;
  }
}

}  // namespace

void MaskSecrets(RequestRecord& record) {
  for (std::string* text : {&record.path, &record.query, &record.method, &record.errorText,
                            &record.document, &record.answer}) {
    MaskBehindNames(*text);
    MaskRuns<CredentialRuns<'A'>>(*text);
    MaskRuns<CredentialRuns<'a'>>(*text);
    MaskRuns<SignatureRuns>(*text);
  }
}

}  // namespace kelo::devservice
