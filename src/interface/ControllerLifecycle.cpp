// Making and unmaking of the controller and of the two objects that it owns.

#include "interface/KELOAccessCommandController.h"
#include "interface/KELOAccessHTTPController.h"

namespace kelo {

KELOAccessCommandController::KELOAccessCommandController(uint32_t parameter) {
  SetupKELOAccessCommandController(parameter);
}

KELOAccessCommandController::~KELOAccessCommandController() {
  httpController_.reset();
  cacheManager_.reset();
}

void KELOAccessCommandController::SetupKELOAccessCommandController(uint32_t parameter) {
  subControllersReady_ = 0;
  initParameter_ = parameter;
  lastCallId_ = 0;
  session_ = {};
  openingParameters_ = {};
  signingSecret_[0] = '\0';
  eventCallback_ = nullptr;
  eventMask_ = 0;
  progress_ = {};
}

void KELOAccessCommandController::SetupKELOAccessSubController() {
  cacheManager_ = std::make_unique<KELOAccessCacheManager>(initParameter_);
  httpController_ = std::make_unique<KELOAccessHTTPController>();
  httpController_->SetCallback(this);
  subControllersReady_ = 1;
}

void KELOAccessCommandController::RequireSubControllers() {
  if (subControllersReady_ == 0) SetupKELOAccessSubController();
}

}  // namespace kelo
