// The exported functions. No exception gets past them to the host.

#include "KELOAccess.h"

#include <memory>
#include <utility>

#include "interface/KELOAccessLibrary.h"
#include "platform/CDSAUtility.h"

namespace kelo {

KELOAccessCommandController* KELOAccessLibrary::pKELOAccessCommandController = nullptr;

}  // namespace kelo

using kelo::KELOAccessCommandController;
using kelo::KELOAccessLibrary;

namespace {

// The controller, or null. In a forked process, one that the parent was using stays where it is,
// since nobody can finish with it or destroy it. A new one without a session takes its place.
KELOAccessCommandController*& Controller() {
  auto& controller = KELOAccessLibrary::pKELOAccessCommandController;
  if (controller && controller->IsLeftUnfinished())
    controller =
        std::make_unique<KELOAccessCommandController>(controller->InitParameter()).release();
  return controller;
}

}  // namespace

uint32_t KELOAccessInitialize(uint32_t parameter) try {
  if (Controller()) return kKELOResult_Success;
  // If memory is short here, the cryptographic library stays unusable. No command must be the first
  // to find that out.
  if (!kelo::CDSAUtilityBase::cssmStartup()) return kKELOResult_GeneralFailure;
  Controller() = std::make_unique<KELOAccessCommandController>(parameter).release();
  return kKELOResult_Success;
} catch (...) {
  return kKELOResult_GeneralFailure;
}

void KELOAccessClose(void) try {
  const std::unique_ptr<KELOAccessCommandController> controller(
      std::exchange(Controller(), nullptr));
} catch (...) {
}

uint32_t KELOAccessCommand(uint32_t commandCode, tagCommandControlInfo* info) try {
  // An uninitialised library deliberately reports success for every command.
  if (!Controller()) return kKELOResult_Success;
  return Controller()->AccessCommand(commandCode, info);
} catch (...) {
  return kKELOResult_GeneralFailure;
}
