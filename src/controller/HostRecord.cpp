// Reads texts by pointer and length from the host's memory, and hands texts out in memory that the
// host frees.
#include "controller/HostRecord.h"

#include <new>

namespace kelo {

std::string KELOStringInfoToString(const tagKELO_StringInfo& info) {
  if (info.text == nullptr || info.length == 0) return {};
  return {info.text, strnlen(info.text, info.length)};
}

uint32_t StringToKELOStringInfo(std::string_view text, tagKELO_StringInfo& info) {
  if (text.empty()) {
    info = {};
    return 1;
  }
  info.text = new (std::nothrow) char[text.size() + 1];
  if (info.text == nullptr) return 0;
  std::memcpy(info.text, text.data(), text.size());
  info.text[text.size()] = '\0';
  info.length = static_cast<uint32_t>(text.size());
  return 1;
}

uint32_t HandOutText(std::string_view text, tagKELO_StringInfo& info) {
  return text.empty() ? 1 : StringToKELOStringInfo(text, info);
}

}  // namespace kelo
