#include "protocol/RequestDocument.h"

#include <algorithm>

#include "platform/KELOAccessEncoder.h"
#include "text/XMLUtility.h"

namespace kelo {

std::string EmptyElementDocument(std::string_view method, std::string_view parameters) {
  std::string document(kDocumentDeclaration);
  document.append("<").append(method).append(parameters).append(" />\r\n");
  return document;
}

std::string ContentDocument(std::string_view method, std::string_view content) {
  std::string document(kDocumentDeclaration);
  document.append("<").append(method).append(">\r\n");
  document.append(content);
  document.append("</").append(method).append(">\r\n");
  return document;
}

void AppendAttribute(std::string& out, std::string_view name, std::string_view value) {
  AppendConvertedAttribute(out, name, TextAsReferences(value));
}

void AppendAttribute(std::string& out, std::string_view name, uint64_t value) {
  AppendConvertedAttribute(out, name, std::to_string(value));
}

void AppendConvertedAttribute(std::string& out, std::string_view name,
                              std::string_view references) {
  out.append(" ").append(name).append("=\"").append(references).append("\"");
}

std::string TextAsReferences(std::string_view text) {
  const XMLUtility xml;
  std::string references;
  if (xml.ConvertStringUTF8ToReference(text, references) == 0) {
    xml.ConvertStringUTF8ToEntityReference(text, references);
  }
  return references;
}

uint64_t NextCallID(uint64_t last, double secondsSinceReferenceDate) {
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

uint32_t DecideTimeoutSetting(uint32_t size) {
  return std::min(size / 5000 + 1, 5u) * 60;
}

}  // namespace kelo
