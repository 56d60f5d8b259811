// The session: opening, closing, handing out, restoring, and keeping its token alive.

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"
#include "protocol/Signing.h"

namespace kelo {
namespace {

constexpr std::string_view kAuthenticationPath = "/P2PwebCmdController/api-auth";

// A missing attribute deliberately leaves the field as it was.
template <size_t Size>
void AdoptAttribute(const ServiceAnswer& answer, std::string_view name, char (&field)[Size]) {
  if (const auto value = answer.Attribute(name)) CopyTextField(field, *value);
}

}  // namespace

ServiceAnswer KELOAccessCommandController::CallAuthentication(std::string_view secret,
                                                              std::string query) {
  const std::optional<std::string> signedQuery = SignedQuery(secret, std::move(query));
  if (!signedQuery) return {kKELOResult_GeneralFailure, ""};
  std::string url;
  httpController_->GetURLofKELOServer(url);
  std::string text;
  const uint32_t transfer = httpController_->HTTPRequestGET(url.append(kAuthenticationPath),
                                                            *signedQuery, text, kRequestTimeout);
  return {transfer, std::move(text)};
}

uint32_t KELOAccessCommandController::ProcessOpenSession(tagCommandControlInfo* info) {
  const std::string_view secret = ReadTextField(info->signingSecret);
  std::string query = "method=OpenSession&callId=" + std::to_string(GetCallID());
  query.append("&keloApiKey=").append(ReadTextField(info->apiKey));
  query.append("&keloAuthToken=").append(ReadTextField(info->authToken));
  const ServiceAnswer answer = CallAuthentication(secret, std::move(query));
  if (!answer.Ok()) return answer.Result();

  tagKELO_SessionInfo opened = session_;
  const auto parameters = LoadRecord<tagKELO_OpenSessionInfo>(info->data);
  AdoptAttribute(answer, "keloSessToken", opened.token);
  opened.word = parameters.word;
  AdoptAttribute(answer, "keloUploadUrl", opened.uploadUrl);
  AdoptAttribute(answer, "keloManageUrl", opened.manageUrl);
  AdoptAttribute(answer, "keloDownloadUrl", opened.downloadUrl);
  ForgetHierarchy();  // may lack memory; nothing behind it can fail
  session_ = opened;
  openingParameters_ = parameters;
  CopyTextField(signingSecret_, secret);
  return kKELOResult_Success;
}

// The session, the secret and the catalogue deliberately stay as they are: the host discards them
// by restoring or opening another session.
uint32_t KELOAccessCommandController::ProcessCloseSession(tagCommandControlInfo*) {
  std::string query("keloSessToken=");
  query.append(ReadTextField(session_.token)).append("&method=CloseSession&callId=");
  query.append(std::to_string(GetCallID()));
  return CallAuthentication(signingSecret_, std::move(query)).Result();
}

uint32_t KELOAccessCommandController::AccessCommand_GetSessionInfo(tagCommandControlInfo* info) {
  if (!IsExistSessionInfo()) return kKELOResult_NotFound;
  StoreRecord(info->data, session_);
  return kKELOResult_Success;
}

uint32_t KELOAccessCommandController::AccessCommand_SetSessionInfo(tagCommandControlInfo* info) {
  ForgetHierarchy();
  if (info->signingSecret[0] != '\0')
    CopyTextField(signingSecret_, ReadTextField(info->signingSecret));
  session_ = LoadRecord<tagKELO_SessionInfo>(info->data);
  return kKELOResult_Success;
}

bool KELOAccessCommandController::IsCorrectExtendTokenParam(tagCommandProcParam* param) {
  const auto session = LoadRecord<tagKELO_SessionInfo>(param->data);
  return session.token[0] != '\0' && session.manageUrl[0] != '\0';
}

// Any request keeps a token alive. So this sends one that the service is sure to refuse, and looks
// at neither its transfer nor its answer. All it needs comes from the host's record.
uint32_t KELOAccessCommandController::ProcessExtendTokenLimit(tagCommandControlInfo* info) {
  const auto session = LoadRecord<tagKELO_SessionInfo>(info->data);
  std::string parameters;
  AppendAttribute(parameters, "recipientList", "AAAAA");
  std::string answer;
  SendDocument({ReadTextField(info->signingSecret), ReadTextField(session.token),
                ReadTextField(session.manageUrl)},
               EmptyElementDocument("VerifyRecipients", parameters), true, answer, kRequestTimeout);
  return kKELOResult_Success;
}

void KELOAccessCommandController::ForgetHierarchy() {
  // Another cache, so that running out of memory leaves the former catalogue whole.
  auto fresh = std::make_unique<KELOAccessCacheManager>(initParameter_, abort_.get());
  fresh->ClearAllFolder();
  fresh->SetupRootFolder();
  cacheManager_ = std::move(fresh);
}

}  // namespace kelo
