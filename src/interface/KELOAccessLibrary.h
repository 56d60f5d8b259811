// The library-wide state: the one controller, null while the library is not initialised.
#pragma once

#include "controller/KELOAccessCommandController.h"

namespace kelo {

struct KELOAccessLibrary {
  // Owned by the exported functions. A plain pointer, so that a host that exits without closing the
  // library takes nothing away from a command that still runs on another thread.
  static KELOAccessCommandController* pKELOAccessCommandController;
};

}  // namespace kelo
