// The error numbers of the service. Those of the upper block have a meaning that clients tell
// apart; the others are for the log of a developer whose client is wrong.
//
//   101 unknown API key            207 unknown folder or album
//   102 unknown authentication     301 missing or unusable value
//       token                      302 unknown item
//   103 wrong signature            311 rating outside 0 to 5, or no recipient
//   104 call id used before        312 belongs to somebody else
//   105 malformed query            313 invalid recipient (named in errmsg)
//   106 unknown method             401 malformed document
//   107 unknown session token      402 malformed multipart body
//   108 expired session token
//   203 storage full
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
  kOutOfRange = 311,
  kNotYours = 312,
  kInvalidRecipient = 313,
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
