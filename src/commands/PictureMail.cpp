// Picture mail: an album is shared with a list of addresses, verified first if the host wishes.

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"

namespace kelo {

bool KELOAccessCommandController::IsCorrectSendPictureMailParam(tagCommandProcParam* param) {
  return param->targetId[0] != '\0';
}

uint32_t KELOAccessCommandController::ProcessSendPictureMail(tagCommandControlInfo* info) {
  auto mail = LoadRecord<tagKELO_PictureMailInfo>(info->data);
  mail.status = kKELOResult_Success;
  const bool verifies = (info->outputOptions & kKELOOption_VerifyRecipients) != 0;
  const bool returnsTexts = verifies && (info->outputOptions & kKELOOption_ReturnTexts) != 0;
  std::string recipients = KELOStringInfoToString(mail.recipients);
  std::string rejected;
  if (verifies) {
    std::string accepted;
    mail.status = VerifyRecipient(recipients, accepted, rejected);
    recipients = std::move(accepted);
  }
  uint32_t result = mail.status;
  if (result == kKELOResult_Success || result == kKELOResult_RecipientsRejected) {
    result = ShareAlbum(std::string(ReadTextField(info->targetId)), recipients,
                        KELOStringInfoToString(mail.subject), KELOStringInfoToString(mail.body),
                        mail.removeGPS);
    // Success leaves in the status whether everyone received the mail.
    if (result != kKELOResult_Success) mail.status = result;
  }
  if (result == kKELOResult_Success && returnsTexts) {
    HandOutText(recipients, mail.accepted);
    HandOutText(rejected, mail.rejected);
  }
  StoreRecord(info->data, mail);
  return result;
}

uint32_t KELOAccessCommandController::ShareAlbum(const std::string& albumId,
                                                 const std::string& recipients,
                                                 const std::string& subject,
                                                 const std::string& body, uint32_t removeGPS) {
  std::string parameters;
  AppendAttribute(parameters, "albumId", albumId);
  AppendAttribute(parameters, "recipientList", "mailto:" + recipients);
  AppendAttribute(parameters, "subjectText", subject);
  AppendAttribute(parameters, "bodyText", body);
  AppendAttribute(parameters, "removeGPSInfo", removeGPS == 1 ? "true" : "false");
  return CallService("ShareAlbum", parameters).Result();
}

}  // namespace kelo
