// Field widths, in one place.
#include "host/library/Records.h"

#include <algorithm>
#include <cstring>

#include "host/library/ResultText.h"

namespace kelo::host {

void CopyText(char* field, std::size_t width, std::string_view text) {
  const std::size_t length = std::min(text.size(), width - 1);
  std::copy_n(text.data(), length, field);
  std::fill(field + length, field + width, '\0');
}

tagKELO_StringInfo LentText(const std::string& text) {
  // Inputs are only read; the pointer is not const because the record also serves outputs.
  return {const_cast<char*>(text.data()), static_cast<std::uint32_t>(text.size())};
}

tagCommandControlInfo Record(void* data, std::uint32_t count) {
  tagCommandControlInfo info{};
  info.data = data;
  info.entryCount = count;
  return info;
}

tagCommandControlInfo Targeted(std::string_view target, void* data, std::uint32_t count) {
  tagCommandControlInfo info = Record(data, count);
  if (target.size() >= sizeof info.targetId) throw Failure("an id of that length does not exist");
  CopyText(info.targetId, target);
  return info;
}

void Check(std::string_view doing, std::uint32_t code, std::uint32_t command) {
  if (code != kKELOResult_Success) throw CommandFailure(doing, code, command);
}

}  // namespace kelo::host
