// The library-wide state: the one controller, null while the library is not initialised.
#pragma once

#include <memory>

#include "interface/KELOAccessCommandController.h"

namespace kelo {

struct KELOAccessLibrary {
  static std::unique_ptr<KELOAccessCommandController> pKELOAccessCommandController;
};

}  // namespace kelo
