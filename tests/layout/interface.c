/* The binary interface as a host's compiler sees it: every record, constant and function of the
 * public header. `scripts/check abi` compares it with the recorded one. */
#include <KELOAccess.h>

uint32_t KELOAccessInitialize(uint32_t parameter) {
  return parameter;
}
void KELOAccessClose(void) {}
uint32_t KELOAccessCommand(uint32_t commandCode, tagCommandControlInfo* info) {
  return info == NULL ? commandCode : 0;
}
