// Mail recipients: verification by the service, one rejected address at a time, and the account's
// address list.

#include "commands/PendingRecipients.h"
#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"

namespace kelo {
namespace {

constexpr std::string_view kInvalidRecipientError = "313";
constexpr std::string_view kInvalidRecipientMarker = "Invalid recipient: ";

// The address that the service names as invalid; nothing for any other failure.
std::optional<std::string_view> RejectedAddress(const ServiceAnswer& answer) {
  if (answer.Attribute("errcode") != kInvalidRecipientError) return std::nullopt;
  const auto message = answer.Attribute("errmsg");
  if (!message) return std::nullopt;
  const size_t marker = message->rfind(kInvalidRecipientMarker);
  if (marker == std::string_view::npos) return std::nullopt;
  return message->substr(marker + kInvalidRecipientMarker.size());
}

}  // namespace

uint32_t KELOAccessCommandController::ProcessVerifyRecipient(tagCommandControlInfo* info) {
  auto record = LoadRecord<tagKELO_RecipientInfo>(info->data);
  std::string accepted;
  std::string rejected;
  const uint32_t result =
      VerifyRecipient(KELOStringInfoToString(record.recipients), accepted, rejected);
  if (result != kKELOResult_Success && result != kKELOResult_RecipientsRejected) return result;
  if (info->outputOptions & kKELOOption_ReturnTexts) {
    HandOutText(accepted, record.accepted);
    HandOutText(rejected, record.rejected);
    StoreRecord(info->data, record);
  }
  return result;
}

uint32_t KELOAccessCommandController::VerifyRecipient(const std::string& input,
                                                      std::string& accepted,
                                                      std::string& rejected) {
  accepted.clear();
  rejected.clear();
  PendingRecipients pending(input);
  std::vector<std::string> refused;
  // Every round either ends the loop or takes one entry out of the list.
  while (!pending.empty()) {
    const std::string list = pending.Joined();
    std::string parameters;
    AppendAttribute(parameters, "recipientList", "mailto:" + list);
    const ServiceAnswer answer = CallService("VerifyRecipients", parameters);
    if (answer.Ok()) {
      accepted = list;
      break;
    }
    if (!answer.IsServiceError()) return answer.Result();
    const auto address = RejectedAddress(answer);
    if (!address) return kKELOResult_GeneralFailure;
    std::optional<std::string> entry = pending.Take(*address);
    if (!entry) return kKELOResult_GeneralFailure;
    refused.push_back(std::move(*entry));
  }
  rejected = Join(refused, ";");
  return refused.empty() ? kKELOResult_Success : kKELOResult_RecipientsRejected;
}

uint32_t KELOAccessCommandController::ProcessGetAddressList(tagCommandControlInfo* info) {
  const ServiceAnswer answer = CallService("GetAddressList", "");
  if (!answer.Ok()) {
    // A failed transfer is deliberately told as 4144, whatever it was.
    return answer.IsServiceError() ? answer.Result() : uint32_t{kKELOResult_GeneralFailure};
  }
  const auto list = answer.Attribute("addressList");
  if (!list) return kKELOResult_GeneralFailure;
  auto record = LoadRecord<tagKELO_StringInfo>(info->data);
  const uint32_t handedOut = HandOutText(*list, record);
  StoreRecord(info->data, record);
  return handedOut == 1 ? kKELOResult_Success : kKELOResult_GeneralFailure;
}

}  // namespace kelo
