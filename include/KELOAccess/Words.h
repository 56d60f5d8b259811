/*
 * KELOAccess/Words.h - results and commands in words, and the end of texts that were handed out.
 *
 * Inline functions over KELOAccess.h, for hosts in C99 and C++; the library exports none of them.
 *
 *   fprintf(stderr, "cannot %s: %s (%u)\n", KELOCommandWords(command),
 *           KELOResultWords(result, command), (unsigned)result);
 */
#ifndef KELOACCESS_WORDS_H
#define KELOACCESS_WORDS_H

#include "KELOAccess.h"

#ifdef __cplusplus
#define KELO_INLINE inline
#else
#define KELO_INLINE static inline
/* C++ array delete, as the C++ runtime of Linux and its kin names it. */
void _ZdaPv(void* array);
#endif

/* What a command does, behind "cannot": "open the session". 0 is the library's start. */
KELO_INLINE const char* KELOCommandWords(uint32_t command) {
  switch (command) {
    case 0:
      return "start the library";
    case kKELOCommand_OpenSession:
      return "open the session";
    case kKELOCommand_CloseSession:
      return "close the session";
    case kKELOCommand_GetSessionInfo:
      return "read the session";
    case kKELOCommand_SetSessionInfo:
      return "restore the session";
    case kKELOCommand_Abort:
      return "abort";
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
      return "send the command";
  }
}

/* What a result means: "the connection was lost". `command` gives the words that fit it where a result
 * means something narrower there; 0 asks for the general ones. Never null, not to be freed. */
KELO_INLINE const char* KELOResultWords(uint32_t result, uint32_t command) {
  /* Rows of a command (0: any) stand before the general row of the same result: the first match wins. */
  static const struct {
    uint32_t command;
    uint32_t result;
    const char* words;
  } rows[] = {
      {kKELOCommand_OpenSession, kKELOResult_BadParameter, "the service does not know the key"},
      {kKELOCommand_OpenSession, kKELOResult_NoSession, "the service does not accept the token"},
      {kKELOCommand_OpenSession, kKELOResult_GeneralFailure,
       "the service does not accept the key, the token or the secret, or is not the service"},
      {kKELOCommand_GetSessionInfo, kKELOResult_NotFound, "there is no session"},
      {kKELOCommand_GetItemsCount, kKELOResult_InvalidTarget,
       "no such folder or album, or not one for such entries"},
      {kKELOCommand_GetItemsList, kKELOResult_InvalidTarget,
       "no such folder or album, or not one for such entries"},
      {kKELOCommand_GetItemsList, kKELOResult_BadParameter, "not as many entries as were counted"},
      {kKELOCommand_GetItemsList, kKELOResult_GeneralFailure, "not as many entries as were counted"},
      {kKELOCommand_GetItemInfo, kKELOResult_BadParameter, "no such item"},
      {kKELOCommand_AddTags, kKELOResult_InvalidTarget, "no such picture or album of yours"},
      {kKELOCommand_Upload, kKELOResult_NotFound, "a file cannot be read, or has become shorter"},
      {kKELOCommand_Upload, kKELOResult_AlreadyExists, "already there"},
      {kKELOCommand_Upload, kKELOResult_AlreadyInAlbum, "already in the album"},
      {kKELOCommand_Upload, kKELOResult_InvalidTarget, "the service refuses the file or its album"},
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
      {0, kKELOResult_BadParameter, "a value of the request was refused"},
      {0, kKELOResult_DestinationUnusable, "the destination file cannot be created"},
      {0, kKELOResult_TransportFailure,
       "the service cannot be reached, or does not answer as expected"},
      {0, kKELOResult_InvalidTarget, "no such folder, album or item, or not allowed there"},
      {0, kKELOResult_NoSession, "the session has ended, or the service does not know it"},
      {0, kKELOResult_RecipientsRejected, "some addresses were rejected"},
      {0, kKELOResult_TimedOut, "the service did not answer in time"},
      {0, kKELOResult_ConnectionLost, "the connection was lost"},
      {0, kKELOResult_GeneralFailure,
       "the service gave an unusable answer, or the library itself failed"},
  };
  size_t at;
  for (at = 0; at < sizeof rows / sizeof rows[0]; ++at)
    if (rows[at].result == result && (rows[at].command == 0 || rows[at].command == command))
      return rows[at].words;
  return "an unknown result";
}

/* Frees a text that the library has handed out, and makes the record empty; an empty one stays so.
 * In C it calls the C++ runtime that libtVQAccess2 itself brings along, so a program in C that calls it
 * names that runtime when it is linked:
 *
 *   cc program.c $(pkg-config --cflags --libs tVQAccess2) -lstdc++
 *
 * Without it the linker stops at an undefined _ZdaPv. A host that is linked with neither, since it loads
 * the library at run time, cannot call this function: it frees with what dlsym(library, "_ZdaPv") gives. */
KELO_INLINE void KELOFreeText(tagKELO_StringInfo* text) {
#ifdef __cplusplus
  delete[] text->text;
  text->text = nullptr;
#else
  if (text->text != NULL) _ZdaPv(text->text);
  text->text = NULL;
#endif
  text->length = 0;
}

#endif /* KELOACCESS_WORDS_H */
