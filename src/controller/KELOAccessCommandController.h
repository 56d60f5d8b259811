// The one object behind the exported functions: it owns the session, the catalogue and the
// connection, and has a work function for every command. Contents, with the file of each section:
//
//   Lifecycle            controller/ControllerLifecycle.cpp
//   Dispatch             interface/CommandDispatch.cpp (the command table)
//   Events and abort     controller/HostEvents.cpp
//   Service requests     controller/ServiceRequests.cpp (protocol/Timeouts.h, protocol/Signing.h)
//   Session              commands/Session.cpp
//   Loading              commands/LoadHierarchy.cpp
//   Item queries         commands/ItemQueries.cpp
//   Upload               commands/Upload.cpp, UploadCheck.cpp, UploadNegotiation.cpp
//   Download             commands/Download.cpp
//   Edits                commands/ItemProperties.cpp, Tags.cpp, NewContainers.cpp
//   Storage capacity     commands/StorageCapacity.cpp
//   Recipients           commands/Recipients.cpp
//   Picture mail         commands/PictureMail.cpp
//
// Every operation returns a result code (see KELOAccess.h) unless it says otherwise. Threads: all
// operations belong to the thread of the running command, except the abort command, which touches
// nothing but the abort signal.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KELOAccess.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "http/KELOHTTPController.h"
#include "platform/AbortSignal.h"
#include "protocol/ServiceAnswer.h"
#include "protocol/Timeouts.h"

namespace kelo {

class KELOAccessCommandController {
 public:
  // ---- Lifecycle ----

  // `parameter` is the byte budget of the item record cache.
  explicit KELOAccessCommandController(uint32_t parameter = 0);
  ~KELOAccessCommandController();
  KELOAccessCommandController(const KELOAccessCommandController&) = delete;
  KELOAccessCommandController& operator=(const KELOAccessCommandController&) = delete;

  // Makes the cache manager and the HTTP controller. They are made by the first command that
  // needs them, through RequireSubControllers.
  void SetupKELOAccessSubController();
  void RequireSubControllers();
  // With another HTTP controller, such as one over a scripted loader, in place of the one made.
  void UseHTTPController(std::unique_ptr<KELOHTTPController> httpController);
  // Whether this is a forked process, and a command was running on a thread that it doesn't have:
  // any part of this object may be half changed.
  bool IsLeftUnfinished() const { return abort_->IsLeftUnfinished(); }
  uint32_t InitParameter() const { return initParameter_; }
  bool IsExistSessionInfo() const { return session_.token[0] != '\0'; }

  // ---- Dispatch ----

  uint32_t AccessCommand(uint32_t code, tagCommandControlInfo* info);
  uint32_t AccessCommandBranch(uint32_t code, tagCommandControlInfo* info);
  // The code of the command that runs, or ran last.
  uint32_t RunningCommand() const { return runningCommand_; }

  // A row of the command table names a command's work function, what that needs, and the command's
  // own check. Commands whose work is short have it in a function of the command's name:
  uint32_t AccessCommand_GetSessionInfo(tagCommandControlInfo* info);
  uint32_t AccessCommand_SetSessionInfo(tagCommandControlInfo* info);
  uint32_t AccessCommand_Abort(tagCommandControlInfo* info);
  uint32_t AccessCommand_GetItemsCount(tagCommandControlInfo* info);
  uint32_t AccessCommand_GetItemsList(tagCommandControlInfo* info);
  uint32_t AccessCommand_GetItemInfo(tagCommandControlInfo* info);
  uint32_t AccessCommand_RegisterEventCallBack(tagCommandControlInfo* info);
  uint32_t AccessCommand_UnregisterEventCallBack(tagCommandControlInfo* info);

  // The own checks; each stands in the file of its command.
  bool IsCorrectGetItemParam(tagCommandProcParam* param);
  bool IsCorrectUploadParam(tagCommandProcParam* param);
  bool IsCorrectSendPictureMailParam(tagCommandProcParam* param);
  bool IsCorrectExtendTokenParam(tagCommandProcParam* param);

  // ---- Events and abort ----

  // Called by the HTTP controller while a command runs; byte counts, the name is ignored.
  void Callback_UploadProgress(const std::string& name, const uint32_t& done,
                               const uint32_t& total);
  void Callback_DownloadProgress(const std::string& name, const uint32_t& done,
                                 const uint32_t& total);

  // ---- Service requests ----

  // A call identifier: milliseconds, strictly increasing for the life of the controller.
  uint64_t GetCallID();

  // Sends an empty element to the manage URL; 4144 without that URL. The answer is not looked into.
  uint32_t EexcuteHTTPWithXMLMode(const std::string& method, const std::string& parameters,
                                  std::string& answer, uint32_t timeout);
  // Sends an element with content to the upload URL; otherwise the same.
  uint32_t EexcuteHTTPWithXMLParameters_ForUpload(const std::string& method,
                                                  const std::string& content, std::string& answer,
                                                  uint32_t timeout);
  // The service's answer to an empty element sent to the manage URL.
  ServiceAnswer CallService(const std::string& method, const std::string& parameters,
                            uint32_t timeout = kRequestTimeout);

  // ---- Session ----

  uint32_t ProcessOpenSession(tagCommandControlInfo* info);
  uint32_t ProcessCloseSession(tagCommandControlInfo* info);
  uint32_t ProcessExtendTokenLimit(tagCommandControlInfo* info);

  // ---- Loading ----

  uint32_t ProcessLoadHierarchy(tagCommandControlInfo* info);
  uint32_t GetUserArchiveInfo(uint32_t& totalCount);

  // ---- Item queries ----

  uint32_t ProcessGetItemInfo(tagCommandControlInfo* info);
  // Asks the service for every record by its item id and writes each record's own result.
  uint32_t GetItemsInfo(std::vector<tagKELO_ItemInfo>& items);

  // ---- Upload ----

  uint32_t ProcessUpload(tagCommandControlInfo* info);
  // Asks which records the service holds already and writes result and item id of each; sets the
  // progress words to what remains to be sent. `anyToSend`: a picture does; voice memos alone don't
  // travel.
  uint32_t CheckUploadItems(const std::string& albumId, std::vector<tagKELO_LoadInfo>& records,
                            uint32_t checkMask, bool& anyToSend);
  // The result of the record at the 1-based `index`, decided by the answer's item elements.
  static uint32_t CheckUploadItemByIdx(uint32_t index, const std::string& albumId,
                                       const std::vector<std::string>& elements,
                                       std::string& itemId);
  // Sends the records whose result is 0.
  uint32_t UploadItems(const std::string& albumId, std::vector<tagKELO_LoadInfo>& records,
                       const std::string& uploadId);
  // Sends all records in one request; the key is a record's 1-based position in the command.
  uint32_t UploadAnyItems(const std::string& albumId, std::map<uint32_t, tagKELO_LoadInfo>& records,
                          const std::string& uploadId);

  // ---- Download ----

  uint32_t ProcessDownload(tagCommandControlInfo* info);
  uint32_t DownloadItems(std::vector<tagKELO_DownloadInfo>& records);

  // ---- Edits ----

  uint32_t ProcessModifyProps(tagCommandControlInfo* info);
  uint32_t ProcessAddTags(tagCommandControlInfo* info);
  uint32_t ProcessAddItems(tagCommandControlInfo* info);
  uint32_t ProcessAddNewLink(tagCommandControlInfo* info);

  // ---- Storage capacity ----

  uint32_t ProcessGetStorageCapacity(tagCommandControlInfo* info);

  // ---- Recipients ----

  uint32_t ProcessVerifyRecipient(tagCommandControlInfo* info);
  // Splits `input` (addresses separated by ";" or ",") into what the service accepts and rejects,
  // each joined with ";". 0, 4117 when some were rejected, or the failure.
  uint32_t VerifyRecipient(const std::string& input, std::string& accepted, std::string& rejected);
  uint32_t ProcessGetAddressList(tagCommandControlInfo* info);

  // ---- Picture mail ----

  uint32_t ProcessSendPictureMail(tagCommandControlInfo* info);
  uint32_t ShareAlbum(const std::string& albumId, const std::string& recipients,
                      const std::string& subject, const std::string& body, uint32_t removeGPS);

  // ==== No command reaches what follows. ====

  // The value of the first "<property" of that exact name; returns 1, or 0 and leaves `value`.
  static uint32_t ExtractPropertyInfo(std::string_view answer, std::string_view name,
                                      std::string& value);
  // "2008:05:17 10:11:12" becomes "2008-05-17 10:11:12"; shorter texts and other forms stay.
  static void ConvertDateInfoExifToUTC(std::string& date);
  // Asks for an upload identifier with a digest of every file; complete files come out as 4099.
  uint32_t NegotiateUploadItems(const std::string& albumId, std::vector<tagKELO_LoadInfo>& records,
                                std::string& uploadId);

 private:
  void SetupKELOAccessCommandController(uint32_t parameter);

  // The kinds that a query on `target` may ask for; 0 for an unknown target.
  uint32_t AllowedKinds(std::string_view target) const;

  void DeliverEvent(uint32_t event);
  void ResetProgress() { progress_ = {}; }

  // Whose request a document is, and where it goes.
  struct Signer {
    std::string_view secret;
    std::string_view token;
    std::string_view url;
  };
  // Signs `document` with a fresh call identifier and puts it; 4144, and nothing sent, without a
  // URL or a signature. One that only reads (the service changes nothing for it) is sent once more
  // when a connection that had served before broke without any byte of an answer.
  uint32_t SendDocument(const Signer& signer, const std::string& document, bool onlyReads,
                        std::string& answer, uint32_t timeout);
  Signer SessionSigner(const char (&url)[256]) const;
  // SessionQuery with a fresh call identifier, signed; nothing when that fails.
  std::optional<std::string> Sign(const Signer& signer, std::string_view document);
  // A GET of the authentication endpoint with `query`, signed with `secret`.
  ServiceAnswer CallAuthentication(std::string_view secret, std::string query);
  void ForgetHierarchy();

  // CallService's counterpart for documents to the upload URL.
  ServiceAnswer CallUploadService(const std::string& method, const std::string& content,
                                  uint32_t timeout);
  // Sets the progress words to the number and bytes of the records whose result is 0.
  void CountFilesToSend(const std::vector<tagKELO_LoadInfo>& records);

  // Creates the container that `record` describes and fills in its id. `stops` tells whether a
  // failure ends the whole command.
  uint32_t AddContainer(tagKELO_ItemInfo& record, bool& stops);

  const std::shared_ptr<AbortSignal> abort_;  // there before any command, for any thread
  uint32_t runningCommand_ = 0;
  uint32_t subControllersReady_;
  uint32_t initParameter_;
  uint64_t lastCallId_;
  tagKELO_SessionInfo session_;
  tagKELO_OpenSessionInfo openingParameters_;
  char signingSecret_[33];
  KELOAccessEventCallback eventCallback_;
  uint32_t eventMask_;
  tagKELO_ProgressInfo progress_;
  std::unique_ptr<KELOAccessCacheManager> cacheManager_;
  std::unique_ptr<KELOHTTPController> httpController_;
};

}  // namespace kelo
