// Reading the server URL file.
#include "http/ServerURL.h"

#include <cstdint>
#include <memory>

#include "platform/Environment.h"
#include "platform/KELOUtility.h"

namespace kelo {
namespace {

constexpr std::string_view kURLsFile = "/Library/Application Support/Talvo/Quillet/KELOURLS";
constexpr const char* kURLsFileVariable = "KELO_URLS_FILE";

std::string_view URLsFile() {
  const char* named = TrustedEnvironment(kURLsFileVariable);
  return named != nullptr ? std::string_view(named) : kURLsFile;
}

// The text between the first two quotes behind the key; empty if there are none.
std::string_view QuotedValue(std::string_view text, std::string_view key) {
  const auto keyAt = text.find(key);
  if (keyAt == std::string_view::npos) return {};
  const auto opening = text.find('"', keyAt);
  if (opening == std::string_view::npos) return {};
  const auto closing = text.find('"', opening + 1);
  if (closing == std::string_view::npos) return {};
  return text.substr(opening + 1, closing - opening - 1);
}

}  // namespace

std::string ServerURL(const ServerURLEntry& entry) {
  uint32_t size = 0;
  KELOUtility utility;
  const std::unique_ptr<uint8_t[]> bytes = utility.ReadLocalTextFile(URLsFile(), size);
  std::string_view text;
  if (bytes) text = {reinterpret_cast<const char*>(bytes.get()), size};
  const std::string_view value = QuotedValue(text.substr(0, text.find('\0')), entry.key);
  return std::string(value.empty() ? entry.defaultURL : value);
}

}  // namespace kelo
