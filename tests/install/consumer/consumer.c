/* A program of somebody else: it is built against the installed library, and uses it. */
#include <KELOAccess.h>

/* Without a session, loading is refused. */
int main(void) {
  uint32_t result;
  if (KELOAccessInitialize(0) != kKELOResult_Success) return 1;
  result = KELOAccessCommand(kKELOCommand_LoadHierarchy, NULL);
  KELOAccessClose();
  return result == kKELOResult_NoSession ? 0 : 1;
}
