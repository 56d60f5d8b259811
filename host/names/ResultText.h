// What a result code means to a person, and the exceptions that carry a failure to main().
#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "KELOAccess.hpp"

namespace kelo::host {

// The library's words, and what to do about an ended session.
std::string ResultWords(std::uint32_t code, std::uint32_t command = 0);

// The words and the number: "the connection was lost (4129)".
std::string ResultText(std::uint32_t code, std::uint32_t command = 0);

// Ends the program's command; what() is a whole sentence without the program's name.
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

// What main() says of a failure.
std::string Sentence(const std::exception& failure);

}  // namespace kelo::host
