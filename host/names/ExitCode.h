// The exit codes of the program. Its help has them in words: program/Help.cpp.
#pragma once

namespace kelo::host {

enum ExitCode : int {
  kExitDone = 0,
  kExitFailed = 1,  // what failed may work the next time
  kExitUsage = 2,
  kExitUnfit = 3,    // all was done but for what can never be sent or fetched
  kExitBusy = 4,     // another run changes the account
  kExitSignal = 128  // and the number of the signal
};

}  // namespace kelo::host
