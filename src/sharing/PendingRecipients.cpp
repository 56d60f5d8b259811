#include "sharing/PendingRecipients.h"

#include <algorithm>

#include "text/CFTPSStringData.h"

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

}  // namespace

PendingRecipients::PendingRecipients(std::string_view list) {
  while (!list.empty()) {
    const size_t separator = list.find_first_of(";,");
    entries_.emplace_back(list.substr(0, separator));
    if (separator == std::string_view::npos) break;
    list.remove_prefix(separator + 1);
  }
}

std::string PendingRecipients::Joined() const {
  return JoinRecipients(entries_);
}

std::optional<std::string> PendingRecipients::Take(std::string_view address) {
  CFTPSStringData wanted;
  wanted.InitWithUtf8(WithoutBlanks(address));
  const auto standsFor = [&](std::string_view text) {
    CFTPSStringData candidate;
    candidate.InitWithUtf8(WithoutBlanks(text));
    return FTPSStringDataCmpi(candidate, wanted) == 0;
  };
  auto found = std::ranges::find_if(entries_, standsFor);
  if (found == entries_.end()) {
    found = std::ranges::find_if(entries_, [&](const std::string& entry) {
      const std::string_view inner = InAngleBrackets(entry);
      return !inner.empty() && standsFor(inner);
    });
  }
  if (found == entries_.end()) return std::nullopt;
  std::string entry = std::move(*found);
  entries_.erase(found);
  return entry;
}

std::string JoinRecipients(const std::vector<std::string>& recipients) {
  std::string joined;
  for (size_t i = 0; i < recipients.size(); ++i) {
    if (i != 0) joined.append(";");
    joined.append(recipients[i]);
  }
  return joined;
}

}  // namespace kelo
