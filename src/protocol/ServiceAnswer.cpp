// Reads what the service's answer comes to, and the table of its error numbers.
#include "protocol/ServiceAnswer.h"

#include <array>
#include <utility>

#include "KELOAccess.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

constexpr std::array<std::pair<uint32_t, uint32_t>, 16> kServiceErrors{{
    {107, kKELOResult_NoSession},
    {108, kKELOResult_NoSession},
    {203, kKELOResult_NoSpace},
    {204, kKELOResult_TooLarge},
    {205, kKELOResult_TooLarge},
    {206, kKELOResult_TooLarge},
    {207, kKELOResult_InvalidTarget},
    {208, kKELOResult_Conflict},
    {301, kKELOResult_BadParameter},
    {302, kKELOResult_InvalidTarget},
    {311, kKELOResult_BadParameter},
    {312, kKELOResult_InvalidTarget},
    {314, kKELOResult_InvalidTarget},
    {315, kKELOResult_BadParameter},
    {318, kKELOResult_Conflict},
    {401, kKELOResult_BadParameter},
}};

}  // namespace

uint32_t ConvertErrorCodeFromKELO(std::string_view errcode) {
  if (errcode.empty()) return kKELOResult_GeneralFailure;
  const uint64_t number = StringToULL(errcode);
  for (const auto& [serviceError, result] : kServiceErrors)
    if (serviceError == number) return result;
  return kKELOResult_GeneralFailure;
}

uint64_t StringToULL(std::string_view text) {
  uint64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<uint64_t>(c - '0');
  }
  return value;
}

uint32_t ResultOfAnswer(std::string_view answer) {
  const auto stat = FindAttribute(answer, "stat");
  if (stat == "ok") return kKELOResult_Success;
  const auto errcode = FindAttribute(answer, "errcode");
  return stat && errcode ? ConvertErrorCodeFromKELO(*errcode)
                         : uint32_t{kKELOResult_GeneralFailure};
}

ServiceAnswer::ServiceAnswer(uint32_t transferResult, std::string text) : result_(transferResult) {
  if (transferResult != kKELOResult_Success) return;
  text_ = std::move(text);
  result_ = ResultOfAnswer(text_);
}

bool ServiceAnswer::IsServiceError() const {
  return !Ok() && Attribute("stat") && Attribute("errcode");
}

std::optional<std::string_view> ServiceAnswer::Attribute(std::string_view name) const {
  return FindAttribute(text_, name);
}

}  // namespace kelo
