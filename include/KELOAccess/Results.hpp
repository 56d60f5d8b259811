// Part of KELOAccess.hpp: commands and results in words.
#ifndef KELOACCESS_RESULTS_HPP
#define KELOACCESS_RESULTS_HPP

namespace kelo {
namespace detail {

// What a command does, behind "cannot".
constexpr std::string_view Doing(std::uint32_t command) {
  switch (command) {
    case kKELOCommand_OpenSession:
      return "open the session";
    case kKELOCommand_CloseSession:
      return "close the session";
    case kKELOCommand_GetSessionInfo:
      return "read the session";
    case kKELOCommand_SetSessionInfo:
      return "restore the session";
    case kKELOCommand_LoadHierarchy:
      return "load the account";
    case kKELOCommand_GetItemsCount:
      return "count the items";
    case kKELOCommand_GetItemsList:
      return "list the items";
    case kKELOCommand_GetItemInfo:
      return "show the item";
    case kKELOCommand_AddItems:
      return "add the folder or album";
    case kKELOCommand_AddNewLink:
      return "add the item to the album";
    case kKELOCommand_Upload:
      return "upload";
    case kKELOCommand_VerifyRecipient:
      return "verify the addresses";
    case kKELOCommand_GetAddressList:
      return "fetch the address list";
    case kKELOCommand_SendPictureMail:
      return "send the mail";
    case kKELOCommand_GetStorageCapacity:
      return "ask for the storage";
    case kKELOCommand_ModifyProps:
      return "change the item";
    case kKELOCommand_RegisterEventCallBack:
    case kKELOCommand_UnregisterEventCallBack:
      return "follow the progress";
    case kKELOCommand_ExtendTokenLimit:
      return "extend the session";
    case kKELOCommand_AddTags:
      return "add the tags";
    case kKELOCommand_Download:
      return "download";
    default:
      return "start the library";
  }
}

struct ResultRow {
  std::uint32_t command;  // 0: any
  std::uint32_t code;
  std::string_view words;
};

// Rows of a command stand before the general row of the same code: the first match wins.
inline constexpr ResultRow kResultRows[] = {
    {kKELOCommand_OpenSession, kKELOResult_BadParameter, "the service does not know the key"},
    {kKELOCommand_OpenSession, kKELOResult_NoSession, "the service does not accept the token"},
    {kKELOCommand_OpenSession, kKELOResult_GeneralFailure,
     "the service does not accept the key, the token or the secret, or is not the service"},
    {kKELOCommand_GetSessionInfo, kKELOResult_NotFound, "there is no session"},
    {kKELOCommand_GetItemsCount, kKELOResult_InvalidTarget,
     "no such folder or album, or not one for such entries"},
    {kKELOCommand_GetItemsList, kKELOResult_InvalidTarget,
     "no such folder or album, or not one for such entries"},
    {kKELOCommand_GetItemInfo, kKELOResult_BadParameter, "no such item"},
    {kKELOCommand_AddTags, kKELOResult_InvalidTarget, "no such picture or album of yours"},
    {kKELOCommand_Upload, kKELOResult_NotFound, "a file cannot be read, or has become shorter"},
    {kKELOCommand_Upload, kKELOResult_AlreadyExists, "already there"},
    {kKELOCommand_Upload, kKELOResult_AlreadyInAlbum, "already in the album"},
    {kKELOCommand_Upload, kKELOResult_InvalidTarget, "refused by the service"},
    {kKELOCommand_Upload, kKELOResult_NoSpace, "the account's storage is full"},
    {kKELOCommand_Download, kKELOResult_NotFound, "the service no longer has the file"},
    {kKELOCommand_Download, kKELOResult_AlreadyExists, "a file of that name exists already"},
    {kKELOCommand_Download, kKELOResult_NoSpace, "the disk is full"},
    {kKELOCommand_SendPictureMail, kKELOResult_InvalidTarget, "no such album of yours"},
    {kKELOCommand_SendPictureMail, kKELOResult_BadParameter,
     "the service does not accept the addresses"},
    {0, kKELOResult_Success, "done"},
    {0, kKELOResult_Aborted, "aborted"},
    {0, kKELOResult_NotFound, "not found"},
    {0, kKELOResult_AlreadyExists, "it exists already"},
    {0, kKELOResult_Conflict, "the service reports a conflict with what it holds"},
    {0, kKELOResult_NoSpace, "no space is left"},
    {0, kKELOResult_TooLarge, "too large for the service"},
    {0, kKELOResult_AlreadyInAlbum, "it is in the album already"},
    {0, kKELOResult_BadParameter,
     "the service or the library does not accept the request's values"},
    {0, kKELOResult_DestinationUnusable, "the destination file cannot be created"},
    {0, kKELOResult_TransportFailure,
     "the service cannot be reached, or does not answer as expected"},
    {0, kKELOResult_InvalidTarget, "no such folder, album or item, or not allowed there"},
    {0, kKELOResult_NoSession, "the session is not known, or over"},
    {0, kKELOResult_RecipientsRejected, "some addresses were rejected"},
    {0, kKELOResult_TimedOut, "the service did not answer in time"},
    {0, kKELOResult_ConnectionLost, "the connection was lost"},
    {0, kKELOResult_GeneralFailure, "the service gave an unusable answer"},
};

// Throws unless the code is success.
inline void Check(std::uint32_t code, std::uint32_t command) {
  if (code != kKELOResult_Success) throw Error(code, command);
}

}  // namespace detail

inline std::string_view ResultWords(std::uint32_t code, std::uint32_t command) {
  for (const detail::ResultRow& row : detail::kResultRows)
    if (row.code == code && (row.command == 0 || row.command == command)) return row.words;
  return "an unknown result";
}

inline Error::Error(std::string_view doing, std::string_view words, std::uint32_t code,
                    std::uint32_t command)
    : std::runtime_error("cannot " + std::string(doing) + ": " + std::string(words) + " (" +
                         std::to_string(code) + ")"),
      code_(code),
      command_(command),
      wordsBegin_(std::string_view("cannot : ").size() + doing.size()),
      wordsLength_(words.size()) {}

inline Error::Error(std::string_view doing, std::uint32_t code, std::uint32_t command)
    : Error(doing, ResultWords(code, command), code, command) {}

inline Error::Error(std::uint32_t code, std::uint32_t command)
    : Error(detail::Doing(command), code, command) {}

inline Error::Error(const std::string& words, std::uint32_t command)
    : Error(detail::Doing(command), words, kKELOResult_BadParameter, command) {}

inline std::string_view Error::Words() const {
  return std::string_view(what()).substr(wordsBegin_, wordsLength_);
}

}  // namespace kelo

#endif  // KELOACCESS_RESULTS_HPP
