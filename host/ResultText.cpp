// The one table of result codes in words.
#include "ResultText.h"

#include <fmt/format.h>

#include "KELOAccess.h"

namespace kelo::host {
namespace {

struct Row {
  std::uint32_t command;  // 0: any
  std::uint32_t code;
  std::string_view words;
};

// Rows of a command stand before the general row of the same code: the first match wins.
constexpr Row kRows[] = {
    {kKELOCommand_OpenSession, kKELOResult_BadParameter, "the service does not know the key"},
    {kKELOCommand_OpenSession, kKELOResult_NoSession, "the service does not accept the token"},
    {kKELOCommand_OpenSession, kKELOResult_GeneralFailure,
     "the service does not accept the key, the token or the secret, or is not the service"},
    {kKELOCommand_OpenSession, kKELOResult_TransportFailure,
     "the service cannot be reached, or does not answer as expected"},
    {kKELOCommand_GetItemsCount, kKELOResult_InvalidTarget, "no such folder or album"},
    {kKELOCommand_GetItemsList, kKELOResult_InvalidTarget, "no such folder or album"},
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
    {0, kKELOResult_NoSession, "the session is not known, or over; log in again with 'kelo login'"},
    {0, kKELOResult_RecipientsRejected, "some addresses were rejected"},
    {0, kKELOResult_TimedOut, "the service did not answer in time"},
    {0, kKELOResult_ConnectionLost, "the connection was lost"},
    {0, kKELOResult_GeneralFailure, "the service gave an unusable answer"},
};

}  // namespace

std::string_view ResultWords(std::uint32_t code, std::uint32_t command) {
  for (const Row& row : kRows)
    if (row.code == code && (row.command == 0 || row.command == command)) return row.words;
  return "an unknown result";
}

std::string ResultText(std::uint32_t code, std::uint32_t command) {
  return fmt::format("{} ({})", ResultWords(code, command), code);
}

CommandFailure::CommandFailure(std::string_view doing, std::uint32_t code, std::uint32_t command)
    : Failure(fmt::format("cannot {}: {}", doing, ResultText(code, command))), code_(code) {}

}  // namespace kelo::host
