// The base URLs of the service: from a small local file, or built in.
//
// The file may have any layout: a URL is the text between the first two double quotes behind its
// key. It is read afresh each time, so a change takes effect with the next request.
#include <cstdint>
#include <memory>

#include "http/KELOHTTPController.h"
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

// The URL as the file gives it, taken as it stands, or `builtIn` where the file has none.
std::string ServerURL(std::string_view key, std::string_view builtIn) {
  uint32_t size = 0;
  KELOUtility utility;
  const std::unique_ptr<uint8_t[]> bytes = utility.ReadLocalTextFile(URLsFile(), size);
  std::string_view text;
  if (bytes) text = {reinterpret_cast<const char*>(bytes.get()), size};
  const std::string_view value = QuotedValue(text.substr(0, text.find('\0')), key);
  return std::string(value.empty() ? builtIn : value);
}

}  // namespace

void KELOHTTPController::GetURLofKELOServer(std::string& url) {
  url = ServerURL("kKELO_URLofKELOServer", "http://api.talvo.example");
}

void KELOHTTPController::GetURLofGAServer(std::string& url) {
  url = ServerURL("kKELO_URLofGAServer", "http://www.talvo.example");
}

}  // namespace kelo
