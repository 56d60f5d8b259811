// Makes and destroys the controller and the two objects that it owns.

#include <utility>

#include "controller/KELOAccessCommandController.h"
#include "controller/KELOAccessHTTPController.h"
#include "platform/AbortSignal.h"

namespace kelo {

KELOAccessCommandController::KELOAccessCommandController(uint32_t parameter)
    : abort_(std::make_shared<AbortSignal>()) {
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
  auto cacheManager = std::make_unique<KELOAccessCacheManager>(initParameter_, abort_.get());
  auto httpController = std::make_unique<KELOAccessHTTPController>(abort_);
  httpController->SetCallback(this);
  cacheManager_ = std::move(cacheManager);
  httpController_ = std::move(httpController);
  subControllersReady_ = 1;
}

void KELOAccessCommandController::UseHTTPController(
    std::unique_ptr<KELOHTTPController> httpController) {
  RequireSubControllers();
  httpController->SetCallback(this);
  httpController_ = std::move(httpController);
}

void KELOAccessCommandController::RequireSubControllers() {
  if (subControllersReady_ == 0) SetupKELOAccessSubController();
}

}  // namespace kelo
