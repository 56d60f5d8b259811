// Splits a list of addresses, and finds the entry that stands for an address of the service.
#include "commands/PendingRecipients.h"

#include <strings.h>

#include <algorithm>

#include "protocol/RequestDocument.h"
#include "text/XMLUtility.h"

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

std::string WithoutReferences(std::string_view text) {
  std::string decoded;
  return XMLUtility().ConvertStringReferenceToUTF8(text, decoded) == 1 ? decoded
                                                                       : std::string(text);
}

std::string_view WithoutScheme(std::string_view text) {
  constexpr std::string_view kScheme = "mailto:";
  const bool hasScheme = text.size() >= kScheme.size() &&
                         strncasecmp(text.data(), kScheme.data(), kScheme.size()) == 0;
  return WithoutBlanks(hasScheme ? text.substr(kScheme.size()) : text);
}

}  // namespace

PendingRecipients::PendingRecipients(std::string_view list) {
  while (!list.empty()) {
    const size_t separator = list.find_first_of(";,");
    const std::string_view piece = list.substr(0, separator);
    entries_.push_back({std::string(piece), FormsOf(piece, piece)});
    if (separator == std::string_view::npos) break;
    list.remove_prefix(separator + 1);
  }
}

std::string PendingRecipients::Joined() const {
  std::vector<std::string_view> given;
  for (const Entry& entry : entries_) given.push_back(entry.given);
  return Join(given, ";");
}

PendingRecipients::Forms PendingRecipients::FormsOf(std::string_view given,
                                                    std::string_view decoded) {
  Forms forms;
  std::string_view last = WithoutBlanks(given);
  forms[0].emplace().InitWithUtf8(last);
  const auto add = [&](size_t step, std::string_view form) {
    if (form.empty() || form == last) return;
    forms[step].emplace().InitWithUtf8(form);
    last = form;
  };
  add(1, WithoutBlanks(decoded));
  add(2, WithoutScheme(last));
  add(3, WithoutScheme(InAngleBrackets(last)));
  return forms;
}

// Whether two addresses agree at a step, and that could not be seen at the steps before.
bool PendingRecipients::Agree(const Forms& a, const Forms& b, size_t step) {
  const auto same = [](const auto& x, const auto& y) {
    return x && y && FTPSStringDataCmpi(*x, *y) == 0;
  };
  for (size_t i = 0; i <= step; ++i)
    if (same(a[i], b[step]) || same(a[step], b[i])) return true;
  return false;
}

std::optional<std::string> PendingRecipients::Take(std::string_view address) {
  const Forms wanted = FormsOf(address, WithoutReferences(address));
  for (size_t step = 0; step < wanted.size(); ++step) {
    const auto found = std::ranges::find_if(
        entries_, [&](const Entry& entry) { return Agree(wanted, entry.forms, step); });
    if (found == entries_.end()) continue;
    std::string given = std::move(found->given);
    entries_.erase(found);
    return given;
  }
  return std::nullopt;
}

}  // namespace kelo
