/*
 * KELOAccess.h - the public interface of libtVQAccess2.
 *
 * A host loads the library, calls KELOAccessInitialize once, sends commands through
 * KELOAccessCommand, and calls KELOAccessClose when it is done. Everything that crosses this
 * interface is a plain record owned by the host, described below.
 *
 * Conventions
 *   - Words are 32 bits wide, unsigned, in native byte order, unless a field says otherwise.
 *   - Text fields are fixed-width byte arrays. What the library writes is cut to the field and
 *     NUL-terminated. What it reads ends at the first NUL or at the field's width.
 *   - Texts that go in are UTF-8. Names, captions and dates that come from the service are handed out
 *     as the service wrote them: references are not resolved. A host that shows them decodes "&amp;",
 *     "&quot;", "&apos;", "&lt;", "&gt;" and the decimal references, each of which stands for one
 *     UTF-16 unit: "&#55357;&#56832;" is the pair 0xD83D 0xDE00, one character beyond the Basic
 *     Multilingual Plane. So a name field of 255 bytes holds 31 Japanese characters, at 8 bytes each,
 *     and a longer name may end in the middle of a reference.
 *   - Dates are texts. Those that go in are sent as they are, "2026-11-21T10:20:30Z" being the form
 *     that the service compares and gives back; those that come out are as the service wrote them, cut
 *     to 31 characters.
 *   - The library copies records in and out; host buffers need no particular alignment.
 *   - Threads: one command at a time. The only call that may come from another thread while a
 *     command runs is KELOAccessCommand with kKELOCommand_Abort. Events are delivered on the thread
 *     of the running command, with no lock held, and only while bytes move: behind a silent service
 *     none comes. So a Cancel button sends Abort from a thread of its own.
 *   - Abort ends the whole running command, with its request under way, all requests that would follow
 *     and the rest of a batch, and while it reads an answer or works on a large catalogue, too: an aborted
 *     GetItemsList may have written some records. Abort returns when the request under way, if any, has
 *     ended; at once from inside an event. While no command runs it leaves no trace. A host that sends
 *     it just as a command begins cannot know whether it came in time.
 *   - Closing: CloseSession makes the service forget the session. The library keeps session block and
 *     catalogue: queries go on to answer from memory, and what asks the service is refused there (4116).
 *     A host opens or restores a session before it goes on, or ends with KELOAccessClose.
 *   - Processes: a child that was forked off uses connections of its own, never its parent's, and may
 *     go on with the session, also where another thread was asking for an abort. If a command was
 *     running on another thread, the child's library begins anew, without a session. A child that
 *     returns from the event in which it was forked has no part in the request: its command ends as
 *     aborted, the parent's goes on. A process may end (exit)
 *     while a command runs on another thread: the library has nothing destroyed then. It makes no
 *     thread of its own; a name lookup that was given up may go on for a while on one of libcurl's,
 *     so the library stays loaded for good. While four such lookups go on, a request that needs one
 *     waits for one of them to end, as long as its time-out allows.
 *   - Failures: none outlives its command. The next one, on the same session, begins afresh, and the
 *     catalogue is as it was before or as it is after the command that failed, never in between.
 *   - The catalogue lists what the service has said, and need not be a tree: an entry may stand in
 *     several places, and one id may be that of a folder, an album and an item at once, so a folder or an
 *     album may come to stand below itself. What shares an id shares its record, and of an id beyond 40
 *     bytes a record tells the first 40. No query goes deeper than one list, so each of them ends; a host
 *     that walks from list to list must keep account of the ids at which it has been.
 *
 * Environment (a program with more rights than its caller listens to none of it)
 *   - KELO_URLS_FILE names the file from which the address of the service is read, instead of the one
 *     that is built in.
 *   - KELO_TRACE names a file to which a line is appended for each request ("-": standard error;
 *     "/dev/fd/N": the open descriptor N, whether there is such a path or not): time, command, method,
 *     host and path, service method, and then fields NAME=VALUE, of which those with nothing to tell
 *     are left out; hosts pass over names that they don't know:
 *       out, in         bytes of the request and the answer
 *       http            the HTTP status
 *       stat, errcode   of the service's answer; errmsg: its text, in double quotes
 *       failure         what went wrong on the way, in words for people, in double quotes
 *       cause           why the request failed: unresolved, unreachable, refused, tls, proxy (one
 *                       answered and did not open the way), lost, silent, status, unusable, service,
 *                       aborted or local
 *       unusable        what the answer was unusable for: http, size, encoding, redirect, stat or
 *                       errcode
 *       proxy           "used": the request was to go through a proxy
 *       result, ms      what the request came to, as commands answer it, and the milliseconds it took
 *       connection      "new" or "reused"
 *       lookup, connect, send, wait, receive   the milliseconds of each phase that took one at least
 *     Never a secret, token, signature, query or body. Texts are masked, cut and in one line; the other
 *     fields are facts to decide by.
 *   - http_proxy, https_proxy, HTTPS_PROXY, all_proxy, ALL_PROXY and no_proxy, NO_PROXY name proxies and
 *     the hosts that are reached without one, as in other programs.
 *
 * KELOAccess/Words.h beside it has commands and results in words, and frees texts that were handed out;
 * KELOAccess.hpp is the interface for hosts in C++20.
 *
 * The header needs nothing but <stdint.h> and <stddef.h> and compiles as C99 and as C++.
 */
#ifndef KELOACCESS_H
#define KELOACCESS_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(KELO_BUILDS_LIBRARY)
#define KELO_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define KELO_EXPORT __declspec(dllimport)
#elif defined(__GNUC__)
#define KELO_EXPORT __attribute__((visibility("default")))
#else
#define KELO_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Command codes: the first argument of KELOAccessCommand. Any other code answers 0. ---- */

/* What each command reads of tagCommandControlInfo: `data` points to the record named (a star: to an
 * array of entryCount records), which is read, written, or both; "session" says that one must be open,
 * else the answer is 4116. A null pointer where a record is needed is 4112.
 *
 *   code                data                         targetId           other fields        session
 *   OpenSession         tagKELO_OpenSessionInfo                         authToken, apiKey,
 *                                                                       signingSecret
 *   CloseSession                                                                            session
 *   GetSessionInfo      tagKELO_SessionInfo          (without a session: 4098)
 *   SetSessionInfo      tagKELO_SessionInfo                             signingSecret
 *   Abort
 *   LoadHierarchy                                                                           session
 *   GetItemsCount       uint32_t                     see below          selectionFlags:     session
 *                                                                       kinds
 *   GetItemsList        tagKELO_ItemInfo *           see below          selectionFlags:     session
 *                                                                       kinds
 *   GetItemInfo         tagKELO_ItemInfo             item, folder,      outputOptions:      session
 *                                                    album              AskService
 *   AddItems            tagKELO_ItemInfo *           parent folder                          session
 *                       (kind, name)
 *   AddNewLink          tagKELO_AddLinkInfo *        album                                  session
 *   Upload              tagKELO_LoadInfo *           album, or empty    outputOptions:      session
 *                                                                       CheckDuplicates,
 *                                                                       selectionFlags: check
 *   VerifyRecipient     tagKELO_RecipientInfo                           outputOptions:      session
 *                                                                       ReturnTexts
 *   GetAddressList      tagKELO_StringInfo                                                  session
 *   SendPictureMail     tagKELO_PictureMailInfo      album              outputOptions:      session
 *                                                                       VerifyRecipients,
 *                                                                       ReturnTexts
 *   GetStorageCapacity  tagKELO_StorageCapacityInfo                                         session
 *   ModifyProps         tagKELO_PropertyInfo         item ids, with                         session
 *                                                    commas
 *   RegisterEventCallBack    the callback itself                        selectionFlags: mask
 *   UnregisterEventCallBack                                             selectionFlags: bits to clear
 *   ExtendTokenLimit    tagKELO_SessionInfo                             signingSecret
 *   AddTags             tagKELO_TagInfo              item, album, root  selectionFlags:     session
 *                                                    album              tag target
 *   Download            tagKELO_DownloadInfo *                                              session
 *
 * The kinds that GetItemsCount and GetItemsList take for a target; anything else is 4115. entryCount of a
 * list is the number that the count gave. With any other, smaller or greater, the list writes nothing and
 * answers 4112, or 4144 for KELO_ALL_ITEMS_ID.
 *
 *   targetId                  kinds
 *   empty: the root folder    Folder, Album, RootAlbum, SharedAlbum
 *   KELO_ALL_ITEMS_ID         those, FileItem and FriendAlbum
 *   a folder                  Album, SharedAlbum
 *   an album, KELO_ROOT_ALBUM_ID, a friend's album: FileItem */
enum {
  kKELOCommand_OpenSession = 3,
  kKELOCommand_CloseSession = 4,
  kKELOCommand_GetSessionInfo = 5,
  kKELOCommand_SetSessionInfo = 6,
  kKELOCommand_Abort = 7,
  kKELOCommand_LoadHierarchy = 8,
  kKELOCommand_GetItemsCount = 9,
  kKELOCommand_GetItemsList = 16,
  kKELOCommand_GetItemInfo = 17,
  kKELOCommand_AddItems = 18,
  kKELOCommand_AddNewLink = 19,
  kKELOCommand_Upload = 20,
  kKELOCommand_VerifyRecipient = 21,
  kKELOCommand_GetAddressList = 22,
  kKELOCommand_SendPictureMail = 23,
  kKELOCommand_GetStorageCapacity = 24,
  kKELOCommand_ModifyProps = 25,
  kKELOCommand_RegisterEventCallBack = 32,
  kKELOCommand_UnregisterEventCallBack = 33,
  kKELOCommand_ExtendTokenLimit = 48,
  kKELOCommand_AddTags = 50,
  kKELOCommand_Download = 51
};

/* ---- Result codes: what KELOAccessCommand answers, and the result word of records. ---- */
enum {
  kKELOResult_Success = 0,
  kKELOResult_Aborted = 3,                /* the abort command ended the command */
  kKELOResult_NotFound = 4098,            /* no session to hand out; download answered 404 or its URL
                                             is unusable; upload file unreadable */
  kKELOResult_AlreadyExists = 4099,       /* download destination exists; file already stored */
  kKELOResult_Conflict = 4101,            /* service errors 208 and 318 */
  kKELOResult_NoSpace = 4102,             /* local disk full; service storage full (203) */
  kKELOResult_TooLarge = 4103,            /* request too large (413; service errors 204 to 206) */
  kKELOResult_AlreadyInAlbum = 4104,      /* file already stored and placed in the album */
  kKELOResult_BadParameter = 4112,        /* missing pointer, failed validation, unknown item; 301, 311,
                                             315, 401 */
  kKELOResult_DestinationUnusable = 4113, /* download destination cannot be created */
  kKELOResult_TransportFailure = 4114,    /* host not found, unexpected HTTP status, other error */
  kKELOResult_InvalidTarget = 4115,       /* invalid target or item; 207, 302, 312, 314 */
  kKELOResult_NoSession = 4116,           /* no session, or the service no longer knows it (107, 108) */
  kKELOResult_RecipientsRejected = 4117,  /* some recipients were rejected */
  kKELOResult_TimedOut = 4128,            /* HTTP 408 or 504, or nothing moved for too long */
  kKELOResult_ConnectionLost = 4129,      /* the connection broke */
  kKELOResult_GeneralFailure = 4144       /* unusable answer, unknown service error, internal failure */
};

/* ---- Kinds of entries: bits of tagKELO_ItemInfo.kind and of the selection flags of queries. ---- */
enum {
  kKELOKind_Folder = 0x001,
  kKELOKind_Album = 0x002,
  kKELOKind_FileItem = 0x004,
  kKELOKind_FriendAlbum = 0x010,
  kKELOKind_RootAlbum = 0x040,
  kKELOKind_SharedAlbum = 0x100 /* a shared album carries 0x102 */
};

/* ---- Output options of tagCommandControlInfo. ---- */
enum {
  kKELOOption_AskService = 0x002,       /* get item info: ask the service, not the cache */
  kKELOOption_ReturnTexts = 0x100,      /* verify recipient, picture mail: hand the lists back */
  kKELOOption_VerifyRecipients = 0x200, /* picture mail: verify the recipients first */
  kKELOOption_CheckDuplicates = 0x400   /* upload: ask which files are stored already */
};

/* ---- Selection flags of uploads: the dates that the duplicate check compares. ---- */
enum {
  kKELOCheck_FileModifyDate = 1,
  kKELOCheck_FileCreateDate = 2,
  kKELOCheck_ShotDate = 4
};

/* ---- tagKELO_PropertyInfo.propertyMask: which properties are set. ---- */
enum {
  kKELOProperty_Caption = 1,
  kKELOProperty_CaptionFlag = 2,
  kKELOProperty_Rating = 4
};

/* ---- Selection flags of add tags: what the target is. ---- */
enum {
  kKELOTagTarget_RootAlbum = 0,
  kKELOTagTarget_Album = 2,
  kKELOTagTarget_FileItem = 4
};

/* ---- tagKELO_ItemInfo.fileFormat of file items. ---- */
enum {
  kKELOFormat_JPEG = 1,
  kKELOFormat_RawA = 2,
  kKELOFormat_RawB = 3,
  kKELOFormat_TIFF = 4,
  kKELOFormat_QuickTime = 5,
  kKELOFormat_AVI = 6,
  kKELOFormat_WAV = 7,
  kKELOFormat_Binary = 4097,
  kKELOFormat_Unknown = 4098,
  kKELOFormat_Unrecognized = 4099
};

/* ---- Events. ---- */
enum {
  kKELOEvent_UploadProgress = 20,
  kKELOEvent_DownloadProgress = 51,
  kKELOEventKind_Progress = 48,       /* the second argument of every event */
  kKELOEventMask_Progress = 0x200     /* progress is delivered only while this mask bit is set */
};

/* ---- Identifiers. A service identifier is a text of 27 characters. ---- */
enum {
  KELO_ID_FIELD_SIZE = 41 /* identifier field of most records: 40 characters and the NUL */
};

/* Target id of the root album (items in no album) and of the whole server. The empty text is the
 * root folder. */
#define KELO_ROOT_ALBUM_ID                                                                         \
  "\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8\xF8"   \
  "\xF8\xF8\xF8\xF8"
#define KELO_ALL_ITEMS_ID                                                                          \
  "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"   \
  "\xFF\xFF\xFF\xFF"

#pragma pack(push, 8)

/* A text handed across the interface. On input `length` bytes at `text` (no NUL needed); a null
 * pointer or length 0 is the empty text. On output the library allocates length + 1 bytes with C++
 * array new, NUL-terminates them and overwrites both fields without freeing what they held; the
 * buffer then belongs to the host, which frees it with C++ array delete, or with KELOFreeText of
 * KELOAccess/Words.h, which says what a program in C links for it. */
typedef struct tagKELO_StringInfo {
  char* text;      /* offset 0 */
  uint32_t length; /* bytes without the NUL; offset 4 with 4-byte pointers, 8 with 8-byte ones */
} tagKELO_StringInfo;

/* The command record. 176 bytes; all named offsets are the same for both pointer widths. */
typedef struct tagCommandControlInfo {
  uint32_t unread0;        /* 0 */
  char targetId[44];       /* 4: folder, album or item that the command addresses; empty: none */
  uint32_t entryCount;     /* 48: number of records in the array at `data` */
  uint32_t unread52;       /* 52 */
  void* data;              /* 56: the command's argument */
#if UINTPTR_MAX > 0xFFFFFFFFu
  uint32_t unread64;       /* 64 */
#else
  uint32_t unread60[2];    /* 60 */
#endif
  uint32_t outputOptions;  /* 68: kKELOOption bits */
  uint32_t selectionFlags; /* 72: kKELOKind, kKELOEventMask or kKELOCheck bits, or a kKELOTagTarget */
  char authToken[33];      /* 76: sent by open session */
  char apiKey[33];         /* 109: sent by open session */
  char signingSecret[33];  /* 142: signs every request; at most 32 characters */
  char unread175;          /* 175 */
} tagCommandControlInfo;

/* The same storage, as the validators call it. */
typedef tagCommandControlInfo tagCommandProcParam;

/* The session. 800 bytes, opaque to most hosts, handed out and restored whole (commands 5, 6, 48). */
typedef struct tagKELO_SessionInfo {
  uint32_t word;         /* 0: carried from the open-session block, never interpreted */
  char token[28];        /* 4: a non-zero first byte means that a session exists */
  char uploadUrl[256];   /* 32 */
  char manageUrl[256];   /* 288 */
  char downloadUrl[256]; /* 544 */
} tagKELO_SessionInfo;

/* The argument of open session: 88 bytes whose layout is the host's. The first word goes into the
 * session's word. */
typedef struct tagKELO_OpenSessionInfo {
  uint32_t word;      /* 0 */
  char hostBytes[84]; /* 4 */
} tagKELO_OpenSessionInfo;

/* One entry of the catalogue. 2728 bytes. Get item info with kKELOOption_AskService fills in name, dates,
 * URLs and format, and leaves the other fields as they come from the host: clear the record first. */
typedef struct tagKELO_ItemInfo {
  uint32_t result;     /* 0: add items: 0, 4115, a refusal, or what ended the command; fresh info: the
                          command's result; 0 in what comes from the catalogue */
  char parentId[41];   /* 4: folder or album that holds it; empty for the root folder's children */
  char itemId[41];     /* 45 */
  char padding86[2];   /* 86 */
  uint32_t kind;       /* 88: kKELOKind bits */
  uint32_t fileFormat; /* 92: file items: kKELOFormat */
  char name[256];      /* 96 */
  uint32_t itemCount;  /* 352: folders and albums: entries below */
  uint32_t word356;    /* 356: 0 */
  char modifyDate[32]; /* 360 */
  char shotDate[32];   /* 392 */
  char uploadDate[32]; /* 424 */
  uint32_t word456;    /* 456: 0 */
  uint32_t word460;    /* 460: 0 */
  char text464[1240];  /* 464: cleared */
  char text1704[256];  /* 1704: cleared */
  char screenUrl[256]; /* 1960: screen-size image */
  char text2216[256];  /* 2216: cleared */
  char origUrl[256];   /* 2472: full-size file; empty after an upload until loaded again */
} tagKELO_ItemInfo;

/* One file of an upload. 1116 bytes with 4-byte pointers, 1136 with 8-byte ones. A stored file joins the
 * cached album at once, with its name alone; without an album it joins the root folder, until the
 * catalogue is loaded again and shows it in the root album, where the service keeps it. A command that
 * failed while it sent leaves 0 in the records of the files that it was to send.
 * The duplicate check asks about no voice memo (a name like "a.wav" or "A.WAV"). If it leaves no picture
 * to be sent, memos are not sent either: they have 4099 without an id where some picture is stored
 * already, else 0. */
typedef struct tagKELO_LoadInfo {
  uint32_t result;             /* 0 / 0: 0 sent or to be sent; 4099, 4104, 4115, 4103, or the command's */
  char albumId[41];            /* 4 / 4: overwritten with the command's target */
  char itemId[41];             /* 45 / 45: written: id of the stored file; empty: not confirmed */
  char padding86[2];           /* 86 / 86 */
  tagKELO_StringInfo filePath; /* 88 / 88: UTF-8 path */
  tagKELO_StringInfo fileName; /* 96 / 104: display name; empty: last component of the path */
  int32_t fileSize;            /* 104 / 120: bytes to send; negative is refused */
  char fileModifyDate[32];     /* 108 / 124: required in the first record */
  char fileCreateDate[32];     /* 140 / 156: required in the first record */
  char shotDate[32];           /* 172 / 188 */
  uint32_t width;              /* 204 / 220: pixels; 0 unknown */
  uint32_t height;             /* 208 / 224 */
  char tagList[904];           /* 212 / 228 */
} tagKELO_LoadInfo;

/* One file of a download. 272 bytes with 4-byte pointers, 288 with 8-byte ones. */
typedef struct tagKELO_DownloadInfo {
  uint32_t result;             /* 0 / 0: 0 stored; 4098, 4099, 4113 or the code that ended the batch */
  char url[256];               /* 4 / 4: used as it stands, all 255 characters if need be */
  tagKELO_StringInfo destPath; /* 260 / 264: UTF-8 path; nothing may exist there */
  uint32_t receivedSize;       /* 268 / 280: bytes received; 0xFFFFFFFF for anything beyond */
} tagKELO_DownloadInfo;

/* The edits of modify props. 336 bytes. */
typedef struct tagKELO_PropertyInfo {
  uint32_t result;       /* 0 */
  char caption[320];     /* 4 */
  uint32_t captionFlag;  /* 324: 1 is true, anything else false */
  uint32_t rating;       /* 328 */
  uint32_t propertyMask; /* 332: kKELOProperty bits */
} tagKELO_PropertyInfo;

/* The tags of add tags. The text ends at its first NUL; a host may pass a shorter buffer that holds
 * the NUL. */
typedef struct tagKELO_TagInfo {
  uint32_t result; /* 0 */
  char text[904];  /* 4 */
} tagKELO_TagInfo;

/* One link of add new link. 88 bytes. */
typedef struct tagKELO_AddLinkInfo {
  uint32_t result;     /* 0 */
  char albumId[41];    /* 4: overwritten with the command's target */
  char itemIdList[43]; /* 45: one id, or several with commas */
} tagKELO_AddLinkInfo;

/* The storage capacity. Result word 0, not the command's result, carries a service error. */
#pragma pack(push, 4)
typedef struct tagKELO_StorageCapacityInfo {
  uint32_t result;          /* 0 */
  uint64_t dataCapacity;    /* 4: bytes stored */
  uint64_t storageCapacity; /* 12: bytes that may be stored */
} tagKELO_StorageCapacityInfo;
#pragma pack(pop)

/* The argument of verify recipient: the address list (separated by ";" or ",") and, with
 * kKELOOption_ReturnTexts, the lists handed back. 24 / 48 bytes. */
typedef struct tagKELO_RecipientInfo {
  tagKELO_StringInfo recipients; /* 0 / 0 */
  tagKELO_StringInfo accepted;   /* 8 / 16: written only when not empty; overwritten, never freed */
  tagKELO_StringInfo rejected;   /* 16 / 32: likewise */
} tagKELO_RecipientInfo;

/* The argument of send picture mail. 48 bytes with 4-byte pointers, 96 with 8-byte ones. */
typedef struct tagKELO_PictureMailInfo {
  uint32_t status;               /* 0 / 0: 0; 4117: sent, but not to everyone; or the failure */
  tagKELO_StringInfo recipients; /* 4 / 8 */
  tagKELO_StringInfo accepted;   /* 12 / 24: written only when not empty; overwritten, never freed */
  tagKELO_StringInfo rejected;   /* 20 / 40: likewise */
  tagKELO_StringInfo subject;    /* 28 / 56 */
  tagKELO_StringInfo body;       /* 36 / 72 */
  uint32_t removeGPS;            /* 44 / 88: 1 removes the position data, anything else keeps it */
} tagKELO_PictureMailInfo;

/* What an event carries. Words 0 and 3 change roles between download and upload, deliberately. An
 * upload has an event before it sets out (0 bytes) and one when it has been answered (all bytes of
 * files, number of files); if it takes longer than 0.1 s, others in between, at most every 0.1 s. */
typedef struct tagKELO_ProgressInfo {
  uint32_t transferTotal; /* 0: download: bytes of this file, 0 if unknown; upload: bytes of files to send */
  uint32_t transferDone;  /* 4: bytes of this file received; bytes of files that have left */
  uint32_t itemCount;     /* 8: files of this command */
  uint32_t fourthWord;    /* 12: download: files finished; upload: 0 until answered, then files sent */
} tagKELO_ProgressInfo;

#pragma pack(pop)

/* Called on the command's thread while it runs and bytes move; the result is ignored. It may send the
 * abort command, which then returns at once; any other command from inside it is not allowed. */
typedef uint32_t (*KELOAccessEventCallback)(uint32_t event, uint32_t kind,
                                            const tagKELO_ProgressInfo* progress);

/* Prepares the library. `parameter` is the budget in bytes for finished item records that are kept
 * for repeated queries (0 keeps none). A second call changes nothing and answers 0; 4144 when
 * memory runs out, which may then last as long as the process. */
KELO_EXPORT uint32_t KELOAccessInitialize(uint32_t parameter);

/* Forgets everything, as if KELOAccessInitialize had not been called. Sends nothing: a host that wants
 * the session closed sends command 4 first. No command may be running. */
KELO_EXPORT void KELOAccessClose(void);

/* Performs one command and returns when it is over. `info` may be null only for commands that read
 * no record (4, 7, 8 and codes that do nothing). Before KELOAccessInitialize, and behind
 * KELOAccessClose, every code does nothing and answers 0, also those that need a session.
 * Never throws: any internal failure is 4144. */
KELO_EXPORT uint32_t KELOAccessCommand(uint32_t commandCode, tagCommandControlInfo* info);

#ifdef __cplusplus
}
#endif

#endif /* KELOACCESS_H */
