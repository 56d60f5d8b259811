// What every request to the service needs: call identifiers, the signed envelope, and the reading
// of properties in answers.

#include "interface/KELOAccessCommandController.h"
#include "platform/KELOUtility.h"
#include "platform/TextField.h"
#include "protocol/RequestDocument.h"
#include "text/XMLSearch.h"

namespace kelo {

uint64_t KELOAccessCommandController::GetCallID() {
  const auto now = static_cast<uint64_t>(GetTimeIntervalSinceReferenceDate() * 1000);
  lastCallId_ = now > lastCallId_ ? now : lastCallId_ + 1;
  return lastCallId_;
}

std::optional<std::string> KELOAccessCommandController::SignForSession(std::string_view document) {
  return SignedQuery(signingSecret_, SessionQuery(ReadTextField(session_.token), GetCallID()),
                     document);
}

uint32_t KELOAccessCommandController::SendDocument(std::string_view url,
                                                   const std::string& document, std::string& answer,
                                                   uint32_t timeout) {
  RequireSubControllers();
  if (url.empty()) return kKELOResult_GeneralFailure;
  const std::optional<std::string> query = SignForSession(document);
  if (!query) return kKELOResult_GeneralFailure;
  return httpController_->HTTPRequestPUT(std::string(url), *query, document, answer, timeout);
}

uint32_t KELOAccessCommandController::EexcuteHTTPWithXMLMode(const std::string& method,
                                                             const std::string& parameters,
                                                             std::string& answer,
                                                             uint32_t timeout) {
  return SendDocument(ReadTextField(session_.manageUrl), EmptyElementDocument(method, parameters),
                      answer, timeout);
}

uint32_t KELOAccessCommandController::EexcuteHTTPWithXMLParameters_ForUpload(
    const std::string& method, const std::string& content, std::string& answer, uint32_t timeout) {
  return SendDocument(ReadTextField(session_.uploadUrl), ContentDocument(method, content), answer,
                      timeout);
}

uint32_t KELOAccessCommandController::CallService(const std::string& method,
                                                  const std::string& parameters,
                                                  ServiceAnswer& answer, uint32_t timeout) {
  std::string text;
  const uint32_t transfer = EexcuteHTTPWithXMLMode(method, parameters, text, timeout);
  return answer.Adopt(transfer, std::move(text));
}

uint32_t KELOAccessCommandController::CallUploadService(const std::string& method,
                                                        const std::string& content,
                                                        ServiceAnswer& answer, uint32_t timeout) {
  std::string text;
  const uint32_t transfer = EexcuteHTTPWithXMLParameters_ForUpload(method, content, text, timeout);
  return answer.Adopt(transfer, std::move(text));
}

uint32_t KELOAccessCommandController::ExtractPropertyInfo(std::string_view answer,
                                                          std::string_view name,
                                                          std::string& value) {
  uint32_t found = 0;
  ForEachBetween(answer, "<property", "/>", [&](std::string_view property) {
    if (FindPresentAttribute(property, "name") != name) return true;
    value = FindPresentAttribute(property, "value").value_or("");
    found = 1;
    return false;
  });
  return found;
}

void KELOAccessCommandController::ConvertDateInfoExifToUTC(std::string& date) {
  if (date.size() < 8) return;
  for (const size_t position : {size_t{4}, size_t{7}}) {
    if (date[position] == ':') date[position] = '-';
  }
}

}  // namespace kelo
