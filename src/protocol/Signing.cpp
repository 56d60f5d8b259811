// Makes call identifiers and queries, and signs them with SHA-1.
#include "protocol/Signing.h"

#include <algorithm>

#include "platform/KELOAccessEncoder.h"

namespace kelo {

uint64_t NextCallId(uint64_t last, double secondsSinceReferenceDate) {
  const auto now = static_cast<uint64_t>(std::max(secondsSinceReferenceDate * 1000, 0.0));
  return now > last ? now : last + 1;
}

std::string SessionQuery(std::string_view token, uint64_t callId) {
  std::string query("keloSessToken=");
  query.append(token).append("&callId=").append(std::to_string(callId));
  return query;
}

std::optional<std::string> SignedQuery(std::string_view secret, std::string query,
                                       std::string_view document) {
  std::string signedText(secret);
  signedText.append("?").append(query);
  if (!document.empty()) signedText.append("\r\n").append(document);
  std::string signature;
  KELOAccessEncoder().AccessEncodeSHA1(signedText, signature);
  if (signature.empty()) return std::nullopt;  // its result doesn't tell
  query.append("&keloApiSig=").append(signature);
  return query;
}

}  // namespace kelo
