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

/* What each command answers to a null record, to a record without data, and to a record with data,
 * while no session exists and no server answers. */
typedef struct Expectation {
  uint32_t code;
  uint32_t nullRecord;
  uint32_t nullData;
  uint32_t withData;
} Expectation;

static const Expectation expectations[] = {
    {kKELOCommand_CloseSession, 4116, 4116, 4116},
    {kKELOCommand_GetSessionInfo, 4112, 4112, 4098},
    {kKELOCommand_Abort, 0, 0, 0},
    {kKELOCommand_LoadHierarchy, 4116, 4116, 4116},
    {kKELOCommand_GetItemsCount, 4112, 4112, 4116},
    {kKELOCommand_GetItemsList, 4112, 4112, 4116},
    {kKELOCommand_GetItemInfo, 4112, 4112, 4116},
    {kKELOCommand_AddItems, 4112, 4112, 4116},
    {kKELOCommand_AddNewLink, 4112, 4112, 4116},
    {kKELOCommand_Upload, 4112, 4112, 4116},
    {kKELOCommand_VerifyRecipient, 4112, 4112, 4116},
    {kKELOCommand_GetAddressList, 4112, 4112, 4116},
    {kKELOCommand_SendPictureMail, 4112, 4112, 4116},
    {kKELOCommand_GetStorageCapacity, 4112, 4112, 4116},
    {kKELOCommand_ModifyProps, 4112, 4112, 4116},
    {kKELOCommand_RegisterEventCallBack, 4112, 4112, 0}, /* for no events */
    {kKELOCommand_UnregisterEventCallBack, 4112, 0, 0},
    {kKELOCommand_ExtendTokenLimit, 4112, 4112, 4112}, /* the block is empty */
    {kKELOCommand_AddTags, 4112, 4112, 4116},
    {kKELOCommand_Download, 4112, 4112, 4116},
    {kKELOCommand_OpenSession, 4112, 4112, 4114},
    {kKELOCommand_SetSessionInfo, 4112, 4112, 0},
    {0, 0, 0, 0},
    {2, 0, 0, 0},
    {10, 0, 0, 0},
    {26, 0, 0, 0},
    {34, 0, 0, 0},
    {49, 0, 0, 0},
    {52, 0, 0, 0},
    {0xFFFFFFFFu, 0, 0, 0},
};

static union {
  unsigned char bytes[4096];
  tagKELO_SessionInfo session;
} argument;

static void sendEverything(int initialized) {
  const unsigned count = sizeof expectations / sizeof expectations[0];
  unsigned i;
  for (i = 0; i < count; ++i) {
    const Expectation* row = &expectations[i];
    tagCommandControlInfo info;
    tagCommandControlInfo before;
    memset(&info, 0, sizeof info);
    expect("null record", row->code, KELOAccessCommand(row->code, NULL),
           initialized ? row->nullRecord : 0);
    expect("null data", row->code, KELOAccessCommand(row->code, &info),
           initialized ? row->nullData : 0);
    info.data = &argument;
    info.entryCount = 1;
    before = info;
    expect("with data", row->code, KELOAccessCommand(row->code, &info),
           initialized ? row->withData : 0);
    expect("the record is unchanged", row->code, memcmp(&before, &info, sizeof info) != 0, 0);
  }
}

/* A block with a token is a session that is handed out as it was adopted. */
static void adoptSession(void) {
  tagCommandControlInfo info;
  tagKELO_SessionInfo block;
  tagKELO_SessionInfo copy;
  memset(&info, 0, sizeof info);
  memset(&block, 7, sizeof block);
  memset(&copy, 0, sizeof copy);
  info.data = &block;
  expect("adopting", 6, KELOAccessCommand(kKELOCommand_SetSessionInfo, &info), 0);
  info.data = &copy;
  expect("handing out", 5, KELOAccessCommand(kKELOCommand_GetSessionInfo, &info), 0);
  expect("the blocks are equal", 5, memcmp(&block, &copy, sizeof copy) != 0, 0);
}

int main(void) {
  tagCommandControlInfo info;
  KELOAccessClose();
  sendEverything(0);
  expect("initializing", 0, KELOAccessInitialize(0), 0);
  expect("initializing again", 0, KELOAccessInitialize(1000), 0);
  sendEverything(1);
  adoptSession();
  KELOAccessClose();
  KELOAccessClose();
  sendEverything(0);

  expect("initializing once more", 0, KELOAccessInitialize(0), 0);
  memset(&info, 0, sizeof info);
  info.data = &argument;
  expect("the former session is forgotten", 5,
         KELOAccessCommand(kKELOCommand_GetSessionInfo, &info), 4098);
  KELOAccessClose();
  printf("%d failures\n", failures);
  return failures != 0;
}
