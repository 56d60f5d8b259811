#include "sharing/PendingRecipients.h"

#include <algorithm>

namespace kelo {
namespace {

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// What stands between the last "<" and the ">" behind it.
std::string_view InAngleBrackets(std::string_view entry) {
  const size_t open = entry.rfind('<');
  if (open == std::string_view::npos) return {};
  const size_t close = entry.find('>', open);
  if (close == std::string_view::npos) return {};
  return entry.substr(open + 1, close - open - 1);
}

CFTPSStringData Trimmed(std::string_view text) {
  CFTPSStringData trimmed;
  trimmed.InitWithUtf8(WithoutBlanks(text));
  return trimmed;
}

void AppendJoined(std::string& joined, std::string_view recipient, bool first) {
  if (!first) joined.append(";");
  joined.append(recipient);
}

}  // namespace

PendingRecipients::PendingRecipients(std::string_view list) {
  while (!list.empty()) {
    const size_t separator = list.find_first_of(";,");
    const std::string_view piece = list.substr(0, separator);
    entries_.push_back({std::string(piece), Trimmed(piece)});
    if (separator == std::string_view::npos) break;
    list.remove_prefix(separator + 1);
  }
}

std::string PendingRecipients::Joined() const {
  std::string joined;
  for (const Entry& entry : entries_) AppendJoined(joined, entry.given, &entry == &entries_[0]);
  return joined;
}

std::optional<std::string> PendingRecipients::Take(std::string_view address) {
  const CFTPSStringData wanted = Trimmed(address);
  auto found = std::ranges::find_if(
      entries_, [&](const Entry& entry) { return FTPSStringDataCmpi(entry.trimmed, wanted) == 0; });
  if (found == entries_.end()) {
    found = std::ranges::find_if(entries_, [&](const Entry& entry) {
      const std::string_view inner = InAngleBrackets(entry.given);
      return !inner.empty() && FTPSStringDataCmpi(Trimmed(inner), wanted) == 0;
    });
  }
  if (found == entries_.end()) return std::nullopt;
  std::string given = std::move(found->given);
  entries_.erase(found);
  return given;
}

std::string JoinRecipients(const std::vector<std::string>& recipients) {
  std::string joined;
  for (const std::string& recipient : recipients) {
    AppendJoined(joined, recipient, &recipient == &recipients[0]);
  }
  return joined;
}

}  // namespace kelo
