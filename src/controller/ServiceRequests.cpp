// What every request to the service needs: call identifiers, the signed envelope, and the reading
// of properties in answers.

#include <algorithm>
#include <iterator>

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "platform/KELOUtility.h"
#include "protocol/RequestDocument.h"
#include "protocol/Signing.h"
#include "text/XMLElements.h"

namespace kelo {

namespace {

// The methods for which the service changes nothing.
bool OnlyReads(std::string_view method) {
  static constexpr std::string_view kReading[] = {
      "GetUserArchiveInfo", "GetHierarchy",   "GetForeignAlbumItems", "GetItemsInfo",
      "GetStorageCapacity", "GetAddressList", "VerifyRecipients"};
  // Attributes may follow the name.
  return std::ranges::find(kReading, method.substr(0, method.find(' '))) != std::end(kReading);
}

}  // namespace

uint64_t KELOAccessCommandController::GetCallID() {
  lastCallId_ = NextCallId(lastCallId_, GetTimeIntervalSinceReferenceDate());
  return lastCallId_;
}

KELOAccessCommandController::Signer KELOAccessCommandController::SessionSigner(
    const char (&url)[256]) const {
  return {signingSecret_, ReadTextField(session_.token), ReadTextField(url)};
}

std::optional<std::string> KELOAccessCommandController::Sign(const Signer& signer,
                                                             std::string_view document) {
  return SignedQuery(signer.secret, SessionQuery(signer.token, GetCallID()), document);
}

uint32_t KELOAccessCommandController::SendDocument(const Signer& signer,
                                                   const std::string& document, bool onlyReads,
                                                   std::string& answer, uint32_t timeout) {
  if (signer.url.empty()) return kKELOResult_GeneralFailure;
  for (bool again = onlyReads;; again = false) {
    const std::optional<std::string> query = Sign(signer, document);
    if (!query) return kKELOResult_GeneralFailure;
    const uint32_t result =
        httpController_->HTTPRequestPUT(std::string(signer.url), *query, document, answer, timeout);
    // A peer may close a connection that it has kept just as the next request sets out. What failed
    // leaves no connection to be used again, so the second attempt has a fresh one.
    const URLTransferInfo transfer = httpController_->LastTransfer();
    const bool closedBefore =
        result == kKELOResult_ConnectionLost && transfer.reused && transfer.received == 0;
    if (!again || !closedBefore) return result;
  }
}

uint32_t KELOAccessCommandController::EexcuteHTTPWithXMLMode(const std::string& method,
                                                             const std::string& parameters,
                                                             std::string& answer,
                                                             uint32_t timeout) {
  return SendDocument(SessionSigner(session_.manageUrl), EmptyElementDocument(method, parameters),
                      OnlyReads(method), answer, timeout);
}

uint32_t KELOAccessCommandController::EexcuteHTTPWithXMLParameters_ForUpload(
    const std::string& method, const std::string& content, std::string& answer, uint32_t timeout) {
  return SendDocument(SessionSigner(session_.uploadUrl), ContentDocument(method, content), false,
                      answer, timeout);
}

ServiceAnswer KELOAccessCommandController::CallService(const std::string& method,
                                                       const std::string& parameters,
                                                       uint32_t timeout) {
  std::string text;
  const uint32_t transfer = EexcuteHTTPWithXMLMode(method, parameters, text, timeout);
  return {transfer, std::move(text)};
}

ServiceAnswer KELOAccessCommandController::CallUploadService(const std::string& method,
                                                             const std::string& content,
                                                             uint32_t timeout) {
  std::string text;
  const uint32_t transfer = EexcuteHTTPWithXMLParameters_ForUpload(method, content, text, timeout);
  return {transfer, std::move(text)};
}

uint32_t KELOAccessCommandController::ExtractPropertyInfo(std::string_view answer,
                                                          std::string_view name,
                                                          std::string& value) {
  uint32_t found = 0;
  ForEachElement(answer, "property", [&](const XMLTag& property) {
    const auto [itsName, itsValue] = ReadAttributes(property.attributes, {"name", "value"});
    if (found == 1 || !itsName.data() || itsName != name) return;
    value = itsValue;
    found = 1;
  });
  return found;
}

void KELOAccessCommandController::ConvertDateInfoExifToUTC(std::string& date) {
  if (date.size() < 8) return;
  for (const size_t position : {size_t{4}, size_t{7}})
    if (date[position] == ':') date[position] = '-';
}

}  // namespace kelo
