// What a result code means, in words, and the exception that carries a failed command to main().
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelo::host {

// Words for a result code, e.g. "the service does not know the key". `command` lets one code read
// differently where a command gives it a narrower meaning; 0 asks for the general words.
std::string_view ResultWords(std::uint32_t code, std::uint32_t command = 0);

// The words and the number: "the connection was lost (4129)".
std::string ResultText(std::uint32_t code, std::uint32_t command = 0);

// Ends the program's command; what() is a whole sentence without the program's name.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& sentence) : std::runtime_error(sentence) {}
};

// A library command failed: "cannot <doing>: <words> (<code>)".
class CommandFailure : public Failure {
 public:
  CommandFailure(std::string_view doing, std::uint32_t code, std::uint32_t command);
  std::uint32_t Code() const { return code_; }

 private:
  std::uint32_t code_;
};

}  // namespace kelo::host
