// The exported functions: the edge where every exception ends.

#include "KELOAccess.h"

#include "interface/KELOAccessLibrary.h"

namespace kelo {

std::unique_ptr<KELOAccessCommandController> KELOAccessLibrary::pKELOAccessCommandController;

}  // namespace kelo

using kelo::KELOAccessCommandController;
using kelo::KELOAccessLibrary;

uint32_t KELOAccessInitialize(uint32_t parameter) try {
  auto& controller = KELOAccessLibrary::pKELOAccessCommandController;
  if (!controller) controller = std::make_unique<KELOAccessCommandController>(parameter);
  return kKELOResult_Success;
} catch (...) {
  return kKELOResult_GeneralFailure;
}

void KELOAccessClose(void) try {
  KELOAccessLibrary::pKELOAccessCommandController.reset();
} catch (...) {
}

uint32_t KELOAccessCommand(uint32_t commandCode, tagCommandControlInfo* info) try {
  // An uninitialised library deliberately reports success for every command.
  if (!KELOAccessLibrary::pKELOAccessCommandController) return kKELOResult_Success;
  return KELOAccessLibrary::pKELOAccessCommandController->AccessCommand(commandCode, info);
} catch (...) {
  return kKELOResult_GeneralFailure;
}
