/* Prints the account's address list, and frees a text that the library handed out.
 *
 *   cc addresses.c $(pkg-config --cflags --libs tVQAccess2) -lstdc++
 */
#include <KELOAccess/Words.h>
#include <stdio.h>

int main(int argc, char** argv) {
  tagCommandControlInfo info = {0};
  tagKELO_OpenSessionInfo opening = {0};
  tagKELO_StringInfo list = {0};
  uint32_t result;
  if (argc != 4) {
    fprintf(stderr, "usage: addresses API-KEY AUTH-TOKEN SECRET\n");
    return 2;
  }
  snprintf(info.apiKey, sizeof info.apiKey, "%s", argv[1]);
  snprintf(info.authToken, sizeof info.authToken, "%s", argv[2]);
  snprintf(info.signingSecret, sizeof info.signingSecret, "%s", argv[3]);
  info.data = &opening;

  if (KELOAccessInitialize(0) != kKELOResult_Success) return 1;
  result = KELOAccessCommand(kKELOCommand_OpenSession, &info);
  info.data = &list;
  if (result == kKELOResult_Success) result = KELOAccessCommand(kKELOCommand_GetAddressList, &info);
  if (result == kKELOResult_Success) printf("%s\n", list.text != NULL ? list.text : "no addresses");
  KELOFreeText(&list);
  if (result != kKELOResult_Success)
    fprintf(stderr, "%s (%u)\n", KELOResultWords(result, 0), (unsigned)result);
  KELOAccessClose();
  return result == kKELOResult_Success ? 0 : 1;
}
