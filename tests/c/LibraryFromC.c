/* The exported functions as a C host sees them: this program links the shared library alone. */
#include <stdio.h>
#include <string.h>

#include "KELOAccess.h"

static int failures = 0;

static void expect(const char* what, uint32_t code, uint32_t actual, uint32_t expected) {
  if (actual == expected) return;
  printf("%s, command %u: %u, expected %u\n", what, (unsigned)code, (unsigned)actual,
         (unsigned)expected);
  ++failures;
}

/* What commands answer to a null record, to a record without data, and to a record with data, while
 * no session exists and no server answers. */
typedef struct Expectation {
  uint32_t nullRecord, nullData, withData;
  uint32_t codes[16]; /* up to the first 0 */
} Expectation;

static const Expectation expectations[] = {
    {4112,
     4112,
     4116,
     {kKELOCommand_GetItemsCount, kKELOCommand_GetItemsList, kKELOCommand_GetItemInfo,
      kKELOCommand_AddItems, kKELOCommand_AddNewLink, kKELOCommand_Upload,
      kKELOCommand_VerifyRecipient, kKELOCommand_GetAddressList, kKELOCommand_SendPictureMail,
      kKELOCommand_GetStorageCapacity, kKELOCommand_ModifyProps, kKELOCommand_AddTags,
      kKELOCommand_Download}},
    {4116, 4116, 4116, {kKELOCommand_CloseSession, kKELOCommand_LoadHierarchy}},
    {0, 0, 0, {kKELOCommand_Abort, 1, 2, 10, 26, 34, 49, 52, 0xFFFFFFFFu}}, /* or no command */
    {4112, 4112, 4098, {kKELOCommand_GetSessionInfo}},
    {4112, 4112, 4112, {kKELOCommand_ExtendTokenLimit}},   /* the block is empty */
    {4112, 4112, 0, {kKELOCommand_RegisterEventCallBack}}, /* for no events */
    {4112, 0, 0, {kKELOCommand_UnregisterEventCallBack}},
    {4112, 4112, 4114, {kKELOCommand_OpenSession}},
    {4112, 4112, 0, {kKELOCommand_SetSessionInfo}},
};

static tagKELO_SessionInfo argument[6]; /* larger than any record */

static void sendEverything(int initialized) {
  const Expectation* const end = expectations + sizeof expectations / sizeof expectations[0];
  const Expectation* row;
  const uint32_t* code;
  for (row = expectations; row != end; ++row) {
    for (code = row->codes; *code != 0; ++code) {
      tagCommandControlInfo info;
      tagCommandControlInfo before;
      memset(&info, 0, sizeof info);
      expect("null record", *code, KELOAccessCommand(*code, NULL),
             initialized ? row->nullRecord : 0);
      expect("null data", *code, KELOAccessCommand(*code, &info), initialized ? row->nullData : 0);
      info.data = argument;
      info.entryCount = 1;
      before = info;
      expect("with data", *code, KELOAccessCommand(*code, &info), initialized ? row->withData : 0);
      expect("the record is unchanged", *code, memcmp(&before, &info, sizeof info) != 0, 0);
    }
  }
}

int main(void) {
  KELOAccessClose();
  sendEverything(0);
  expect("initializing", 0, KELOAccessInitialize(0), 0);
  expect("initializing again", 0, KELOAccessInitialize(1000), 0);
  sendEverything(1);
  KELOAccessClose();
  KELOAccessClose();
  sendEverything(0);
  printf("%d failures\n", failures);
  return failures != 0;
}
