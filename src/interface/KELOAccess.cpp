// The exported functions: the edge where every exception ends.

#include "KELOAccess.h"

#include <memory>
#include <utility>

#include "interface/KELOAccessLibrary.h"

namespace kelo {

KELOAccessCommandController* KELOAccessLibrary::pKELOAccessCommandController = nullptr;

}  // namespace kelo

using kelo::KELOAccessCommandController;
using kelo::KELOAccessLibrary;

uint32_t KELOAccessInitialize(uint32_t parameter) try {
  auto& controller = KELOAccessLibrary::pKELOAccessCommandController;
  if (!controller) controller = std::make_unique<KELOAccessCommandController>(parameter).release();
  return kKELOResult_Success;
} catch (...) {
  return kKELOResult_GeneralFailure;
}

void KELOAccessClose(void) try {
  const std::unique_ptr<KELOAccessCommandController> controller(
      std::exchange(KELOAccessLibrary::pKELOAccessCommandController, nullptr));
} catch (...) {
}

uint32_t KELOAccessCommand(uint32_t commandCode, tagCommandControlInfo* info) try {
  // An uninitialised library deliberately reports success for every command.
  if (!KELOAccessLibrary::pKELOAccessCommandController) return kKELOResult_Success;
  return KELOAccessLibrary::pKELOAccessCommandController->AccessCommand(commandCode, info);
} catch (...) {
  return kKELOResult_GeneralFailure;
}
