// The exception that ends a command of this program, and carries what went wrong to main().
#pragma once

#include <stdexcept>
#include <string>

namespace kelo::host {

// what() is a whole sentence without the program's name.
class Failure : public std::runtime_error {
 public:
  static constexpr int kFailed = 1;
  static constexpr int kBusy = 3;  // another run changes the account

  explicit Failure(const std::string& sentence, int exitCode = kFailed)
      : std::runtime_error(sentence), exitCode_(exitCode) {}
  int ExitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

}  // namespace kelo::host
