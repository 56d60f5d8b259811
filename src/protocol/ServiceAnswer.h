// The service's answer to one request: its status as a result code, and its attributes with absent
// told apart from present and empty. A value type without shared state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kelo {

// The result code of a service error number, given as the text of "errcode". 4144 for an empty text
// and for every number that has no code of its own.
uint32_t ConvertErrorCodeFromKELO(std::string_view errcode);

// What an answer comes to: 0 for "ok", the code of the service's error, 4144 where "stat" or
// "errcode" is missing.
uint32_t ResultOfAnswer(std::string_view answer);

// A number in an answer: the leading decimal digits of `text`, wrapping at 64 bits; 0 when there
// are none.
uint64_t StringToULL(std::string_view text);

class ServiceAnswer {
 public:
  // The answer in `text`; where `transferResult` is a failure, that failure without an answer.
  ServiceAnswer(uint32_t transferResult, std::string text);

  // The transfer's failure, or what the answer comes to.
  uint32_t Result() const { return result_; }
  bool Ok() const { return result_ == 0; }
  // The service understood the request and refused it: "stat" and "errcode" are both there.
  bool IsServiceError() const;

  // The raw value of the first attribute `name`; nothing where the answer has none. The view lives
  // as long as the answer.
  std::optional<std::string_view> Attribute(std::string_view name) const;
  const std::string& Text() const { return text_; }
  // Hands the text over; the answer has none from then on.
  std::string TakeText() { return std::move(text_); }

 private:
  std::string text_;
  uint32_t result_;
};

}  // namespace kelo
