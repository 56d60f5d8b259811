// The error numbers of the service; program/Texts.cpp has them in words for people.
#pragma once

#include <stdexcept>
#include <string>

namespace kelo::devservice {

enum class ErrorNumber {
  kUnknownApiKey = 101,
  kUnknownAuthToken = 102,
  kWrongSignature = 103,
  kRepeatedCallId = 104,
  kMalformedQuery = 105,
  kUnknownMethod = 106,
  kUnknownSession = 107,
  kExpiredSession = 108,
  kStorageFull = 203,
  kUnknownContainer = 207,
  kUnusableValue = 301,
  kUnknownItem = 302,
  kOutOfRange = 311,  // a rating outside 0 to 5, or no recipient
  kNotYours = 312,
  kInvalidRecipient = 313,  // the message names it
  kMalformedDocument = 401,
  kMalformedUpload = 402,
};

// Becomes an answer of stat="fail".
class ServiceError : public std::runtime_error {
 public:
  ServiceError(ErrorNumber number, const std::string& message)
      : std::runtime_error(message), number_(number) {}
  int Number() const { return static_cast<int>(number_); }

 private:
  ErrorNumber number_;
};

}  // namespace kelo::devservice
