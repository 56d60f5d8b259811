// The exception that ends a command of this program, and carries what went wrong to main().
#pragma once

#include <stdexcept>
#include <string>

#include "host/names/ExitCode.h"

namespace kelo::host {

// what() is a whole sentence without the program's name.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& sentence, ExitCode exitCode = kExitFailed)
      : std::runtime_error(sentence), exitCode_(exitCode) {}
  ExitCode Exit() const { return exitCode_; }

 private:
  ExitCode exitCode_;
};

}  // namespace kelo::host
