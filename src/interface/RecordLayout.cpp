/* The layout of every record that crosses the interface, as asserts: one row a field, one column
 * for each pointer width. Every build of the library checks it as C++; tests/layout compiles it as
 * C99 too, and for other processors. */
#include "KELOAccess.h"

#ifdef __cplusplus
#define KELO_CHECK(name, condition) static_assert(condition, #name)
#else /* C99 has no static assertion: a negative array size stands in */
#define KELO_CHECK(name, condition) typedef char kelo_check_##name[(condition) ? 1 : -1]
#endif

#if UINTPTR_MAX > 0xFFFFFFFFu
#define KELO_BY_WIDTH(narrow, wide) (wide)
#else
#define KELO_BY_WIDTH(narrow, wide) (narrow)
#endif
#define SIZE(record, narrow, wide) KELO_CHECK(record, sizeof(record) == KELO_BY_WIDTH(narrow, wide))
#define AT(record, field, narrow, wide) \
  KELO_CHECK(record##_##field, offsetof(record, field) == KELO_BY_WIDTH(narrow, wide))
#define WIDTH(record, field, width) \
  KELO_CHECK(record##_##field##_width, sizeof(((record*)0)->field) == (width))

KELO_CHECK(pointer, sizeof(void*) == 4 || sizeof(void*) == 8);

/* clang-format off */
/*   record                     field            4-byte 8-byte */
AT(tagCommandControlInfo,       targetId,        4,     4);
AT(tagCommandControlInfo,       entryCount,      48,    48);
AT(tagCommandControlInfo,       data,            56,    56);
AT(tagCommandControlInfo,       outputOptions,   68,    68);
AT(tagCommandControlInfo,       selectionFlags,  72,    72);
AT(tagCommandControlInfo,       authToken,       76,    76);
AT(tagCommandControlInfo,       apiKey,          109,   109);
AT(tagCommandControlInfo,       signingSecret,   142,   142);
SIZE(tagCommandControlInfo,                      176,   176);
WIDTH(tagCommandControlInfo,    targetId,        44);
WIDTH(tagCommandControlInfo,    signingSecret,   33);

AT(tagKELO_StringInfo,          text,            0,     0);
AT(tagKELO_StringInfo,          length,          4,     8);
SIZE(tagKELO_StringInfo,                         8,     16);

AT(tagKELO_SessionInfo,         word,            0,     0);
AT(tagKELO_SessionInfo,         token,           4,     4);
AT(tagKELO_SessionInfo,         uploadUrl,       32,    32);
AT(tagKELO_SessionInfo,         manageUrl,       288,   288);
AT(tagKELO_SessionInfo,         downloadUrl,     544,   544);
SIZE(tagKELO_SessionInfo,                        800,   800);

SIZE(tagKELO_OpenSessionInfo,                    88,    88);

AT(tagKELO_ProgressInfo,        transferTotal,   0,     0);
AT(tagKELO_ProgressInfo,        transferDone,    4,     4);
AT(tagKELO_ProgressInfo,        itemCount,       8,     8);
AT(tagKELO_ProgressInfo,        fourthWord,      12,    12);
SIZE(tagKELO_ProgressInfo,                       16,    16);

AT(tagKELO_ItemInfo,            result,          0,     0);
AT(tagKELO_ItemInfo,            parentId,        4,     4);
AT(tagKELO_ItemInfo,            itemId,          45,    45);
AT(tagKELO_ItemInfo,            kind,            88,    88);
AT(tagKELO_ItemInfo,            fileFormat,      92,    92);
AT(tagKELO_ItemInfo,            name,            96,    96);
AT(tagKELO_ItemInfo,            itemCount,       352,   352);
AT(tagKELO_ItemInfo,            modifyDate,      360,   360);
AT(tagKELO_ItemInfo,            shotDate,        392,   392);
AT(tagKELO_ItemInfo,            uploadDate,      424,   424);
AT(tagKELO_ItemInfo,            screenUrl,       1960,  1960);
AT(tagKELO_ItemInfo,            origUrl,         2472,  2472);
SIZE(tagKELO_ItemInfo,                           2728,  2728);
WIDTH(tagKELO_ItemInfo,         name,            256);
WIDTH(tagKELO_ItemInfo,         screenUrl,       256);

AT(tagKELO_LoadInfo,            result,          0,     0);
AT(tagKELO_LoadInfo,            albumId,         4,     4);
AT(tagKELO_LoadInfo,            itemId,          45,    45);
AT(tagKELO_LoadInfo,            filePath,        88,    88);
AT(tagKELO_LoadInfo,            fileName,        96,    104);
AT(tagKELO_LoadInfo,            fileSize,        104,   120);
AT(tagKELO_LoadInfo,            fileModifyDate,  108,   124);
AT(tagKELO_LoadInfo,            fileCreateDate,  140,   156);
AT(tagKELO_LoadInfo,            shotDate,        172,   188);
AT(tagKELO_LoadInfo,            width,           204,   220);
AT(tagKELO_LoadInfo,            height,          208,   224);
AT(tagKELO_LoadInfo,            tagList,         212,   228);
SIZE(tagKELO_LoadInfo,                           1116,  1136);
WIDTH(tagKELO_LoadInfo,         tagList,         904);

AT(tagKELO_DownloadInfo,        result,          0,     0);
AT(tagKELO_DownloadInfo,        url,             4,     4);
AT(tagKELO_DownloadInfo,        destPath,        260,   264);
AT(tagKELO_DownloadInfo,        receivedSize,    268,   280);
SIZE(tagKELO_DownloadInfo,                       272,   288);

AT(tagKELO_PropertyInfo,        result,          0,     0);
AT(tagKELO_PropertyInfo,        caption,         4,     4);
AT(tagKELO_PropertyInfo,        captionFlag,     324,   324);
AT(tagKELO_PropertyInfo,        rating,          328,   328);
AT(tagKELO_PropertyInfo,        propertyMask,    332,   332);
SIZE(tagKELO_PropertyInfo,                       336,   336);

AT(tagKELO_TagInfo,             result,          0,     0);
AT(tagKELO_TagInfo,             text,            4,     4);
SIZE(tagKELO_TagInfo,                            908,   908);

AT(tagKELO_AddLinkInfo,         result,          0,     0);
AT(tagKELO_AddLinkInfo,         albumId,         4,     4);
AT(tagKELO_AddLinkInfo,         itemIdList,      45,    45);
SIZE(tagKELO_AddLinkInfo,                        88,    88);

AT(tagKELO_StorageCapacityInfo, result,          0,     0);
AT(tagKELO_StorageCapacityInfo, dataCapacity,    4,     4);
AT(tagKELO_StorageCapacityInfo, storageCapacity, 12,    12);
SIZE(tagKELO_StorageCapacityInfo,                20,    20);

AT(tagKELO_RecipientInfo,       recipients,      0,     0);
AT(tagKELO_RecipientInfo,       accepted,        8,     16);
AT(tagKELO_RecipientInfo,       rejected,        16,    32);
SIZE(tagKELO_RecipientInfo,                      24,    48);

AT(tagKELO_PictureMailInfo,     status,          0,     0);
AT(tagKELO_PictureMailInfo,     recipients,      4,     8);
AT(tagKELO_PictureMailInfo,     accepted,        12,    24);
AT(tagKELO_PictureMailInfo,     rejected,        20,    40);
AT(tagKELO_PictureMailInfo,     subject,         28,    56);
AT(tagKELO_PictureMailInfo,     body,            36,    72);
AT(tagKELO_PictureMailInfo,     removeGPS,       44,    88);
SIZE(tagKELO_PictureMailInfo,                    48,    96);

KELO_CHECK(id_field, KELO_ID_FIELD_SIZE == 41);
/* clang-format on */

#ifdef __cplusplus
/* The reserved ids are 27 times the same byte. */
constexpr bool IsAll(const char (&id)[28], char byte) {
  for (int at = 0; at < 27; ++at)
    if (id[at] != byte) return false;
  return true;
}
static_assert(IsAll(KELO_ROOT_ALBUM_ID, '\xF8') && IsAll(KELO_ALL_ITEMS_ID, '\xFF'));
#endif
