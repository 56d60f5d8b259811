// XMLUtility: searching and replacement. Whatever an operation finds is complete before its output
// is touched, since the output may hold the source.
#include "text/XMLUtility.h"

#include <iterator>
#include <optional>
#include <utility>

namespace kelo {
namespace {

// Also keeps two overlapping keys from matching in a text too short for both.
bool CanHold(std::string_view source, std::string_view start, std::string_view end) {
  return !start.empty() && !end.empty() && source.size() >= start.size() + end.size();
}

// The last `key` of the source. Looks at the first byte before it compares: an end key that is far
// from the end, or absent, must not cost a call for each byte of a large answer.
size_t FindLastKey(std::string_view source, std::string_view key) {
  if (key.size() > source.size()) return std::string::npos;
  for (size_t at = source.size() - key.size() + 1; at-- > 0;)
    if (source[at] == key.front() && source.substr(at, key.size()) == key) return at;
  return std::string::npos;
}

std::optional<std::string_view> FindOutermost(std::string_view source, std::string_view start,
                                              std::string_view end) {
  const size_t at = CanHold(source, start, end) ? source.find(start) : std::string::npos;
  if (at == std::string::npos) return std::nullopt;
  const std::string_view tail = source.substr(at + start.size());
  const size_t length = FindLastKey(tail, end);
  if (length == std::string::npos) return std::nullopt;
  return tail.substr(0, length);
}

// From `begin` to the next end key.
std::optional<std::string_view> FindUntil(std::string_view source, size_t begin,
                                          std::string_view end) {
  const size_t stop = source.find(end, begin);
  if (stop == std::string::npos) return std::nullopt;
  return source.substr(begin, stop - begin);
}

std::optional<std::string_view> FindInside(std::string_view source, std::string_view start,
                                           std::string_view end) {
  if (!CanHold(source, start, end)) return std::nullopt;
  const size_t at = source.find(start);
  return FindUntil(source, at == std::string::npos ? 0 : at + start.size(), end);
}

// Behind the first start key at or after `from`.
std::optional<std::string_view> FindNext(std::string_view source, std::string_view start,
                                         std::string_view end, size_t from) {
  const size_t at = CanHold(source, start, end) ? source.find(start, from) : std::string::npos;
  if (at == std::string::npos) return std::nullopt;
  return FindUntil(source, at + start.size(), end);
}

enum class Keys { Without, With };

std::vector<std::string> FindAll(std::string_view source, std::string_view start,
                                 std::string_view end, Keys keys) {
  std::vector<std::string> values;
  size_t from = 0;
  while (const auto inside = FindNext(source, start, end, from)) {
    const auto begin = static_cast<size_t>(inside->data() - source.data());
    from = begin + inside->size() + end.size();
    const size_t startsAt = begin - start.size();
    values.emplace_back(keys == Keys::With ? source.substr(startsAt, from - startsAt) : *inside);
  }
  return values;
}

uint32_t Store(std::optional<std::string_view> found, std::string& out) {
  const std::string_view value = found.value_or("");
  out.assign(value.data(), value.size());
  return found ? 1 : 0;
}

void Append(std::vector<std::string> values, std::vector<std::string>& out) {
  out.insert(out.end(), std::make_move_iterator(values.begin()),
             std::make_move_iterator(values.end()));
}

std::string Opening(std::string_view tag) {
  return "<" + std::string(tag) + ">";
}

std::string Closing(std::string_view tag) {
  return "</" + std::string(tag) + ">";
}

std::string BeforeValue(std::string_view name) {
  return std::string(name) + "=\"";
}

}  // namespace

uint32_t XMLUtility::GetValueForOutermostKey(std::string_view source, std::string_view start,
                                             std::string_view end, std::string& out) const {
  if (source.empty() || source.size() < start.size() + end.size()) return 0;
  return Store(FindOutermost(source, start, end), out);
}

uint32_t XMLUtility::GetValueForOutermostTag(std::string_view source, std::string_view tag,
                                             std::string& out) const {
  return Store(FindOutermost(source, Opening(tag), Closing(tag)), out);
}

uint32_t XMLUtility::GetValuesInsideKey(std::string_view source, std::string_view start,
                                        std::string_view end, std::string& out) const {
  return Store(FindInside(source, start, end), out);
}

uint32_t XMLUtility::GetAttribute(std::string_view source, std::string_view name,
                                  std::string& out) const {
  if (source.empty() || name.empty()) return 0;
  return Store(FindInside(source, BeforeValue(name), "\""), out);
}

void XMLUtility::GetValueInsideCDATA(std::string_view source, std::string& out) const {
  Store(FindNext(source, "<![CDATA[", "]]>", 0), out);
}

void XMLUtility::GetValuesInsideKeys(std::string_view source, std::string_view start,
                                     std::string_view end, std::vector<std::string>& out) const {
  Append(FindAll(source, start, end, Keys::Without), out);
}

void XMLUtility::GetValuesForTag(std::string_view source, std::string_view tag,
                                 std::vector<std::string>& out) const {
  out = FindAll(source, Opening(tag), Closing(tag), Keys::Without);
}

void XMLUtility::GetAttributes(std::string_view source, std::string_view name,
                               std::vector<std::string>& out) const {
  out = name.empty() ? std::vector<std::string>()
                     : FindAll(source, BeforeValue(name), "\"", Keys::Without);
}

void XMLUtility::GetValuesBetweenKeys(std::string_view source, std::string_view start,
                                      std::string_view end, std::vector<std::string>& out) const {
  Append(FindAll(source, start, end, Keys::With), out);
}

void XMLUtility::GetValuesWithElement(std::string_view source, std::string_view tag,
                                      std::vector<std::string>& out) const {
  out = FindAll(source, "<" + std::string(tag) + " ", Closing(tag), Keys::With);
}

void XMLUtility::ReplaceAllString(std::string_view source, std::string_view search,
                                  std::string_view replacement, std::string& out) const {
  std::string result;
  if (!search.empty()) {
    result.reserve(source.size());
    size_t from = 0;
    for (size_t at; (at = source.find(search, from)) != std::string::npos;) {
      result.append(source.substr(from, at - from)).append(replacement);
      from = at + search.size();
    }
    result.append(source.substr(from));
  }
  out = std::move(result);
}

}  // namespace kelo
