// The search rules of XMLSearch.h.
#include "text/XMLSearch.h"

#include <string>

namespace kelo {
namespace {

constexpr auto npos = std::string_view::npos;

// The last `key` of the source. Looks at the first byte before it compares: an end key that is far
// from the end, or absent, must not cost a call for each byte of a large answer.
size_t FindLastKey(std::string_view source, std::string_view key) {
  if (key.empty() || key.size() > source.size()) return npos;
  for (size_t at = source.size() - key.size() + 1; at-- > 0;)
    if (source[at] == key.front() && source.substr(at, key.size()) == key) return at;
  return npos;
}

// Also keeps two overlapping keys from matching in a text too short for both.
bool CanHold(std::string_view source, std::string_view start, std::string_view end) {
  return !source.empty() && !start.empty() && !end.empty() &&
         source.size() >= start.size() + end.size();
}

}  // namespace

size_t FindKey(std::string_view source, std::string_view key, size_t from) {
  return key.empty() ? npos : source.find(key, from);
}

std::optional<std::string_view> FindOutermost(std::string_view source, std::string_view start,
                                              std::string_view end) {
  const size_t at = CanHold(source, start, end) ? FindKey(source, start) : npos;
  if (at == npos) return std::nullopt;
  const std::string_view tail = source.substr(at + start.size());
  const size_t length = FindLastKey(tail, end);
  if (length == npos) return std::nullopt;
  return tail.substr(0, length);
}

std::optional<std::string_view> FindOutermostTag(std::string_view source, std::string_view tag) {
  const std::string name(tag);
  return FindOutermost(source, "<" + name + ">", "</" + name + ">");
}

std::optional<std::string_view> FindInside(std::string_view source, std::string_view start,
                                           std::string_view end) {
  if (!CanHold(source, start, end)) return std::nullopt;
  const size_t at = FindKey(source, start);
  const size_t begin = at == npos ? 0 : at + start.size();
  const size_t stop = FindKey(source, end, begin);
  if (stop == npos) return std::nullopt;
  return source.substr(begin, stop - begin);
}

std::optional<std::string_view> FindAttribute(std::string_view source, std::string_view name) {
  if (source.empty() || name.empty()) return std::nullopt;
  return FindInside(source, std::string(name) + "=\"", "\"");
}

std::optional<std::string_view> FindPresentAttribute(std::string_view source,
                                                     std::string_view name) {
  if (source.empty() || name.empty()) return std::nullopt;
  const auto match = FindNext(source, std::string(name) + "=\"", "\"", 0);
  return match ? std::optional(match->inside) : std::nullopt;
}

std::optional<KeyMatch> FindNext(std::string_view source, std::string_view start,
                                 std::string_view end, size_t from) {
  const size_t at = CanHold(source, start, end) ? FindKey(source, start, from) : npos;
  if (at == npos) return std::nullopt;
  const size_t begin = at + start.size();
  const size_t stop = FindKey(source, end, begin);
  if (stop == npos) return std::nullopt;
  const size_t next = stop + end.size();
  return KeyMatch{source.substr(begin, stop - begin), source.substr(at, next - at), next};
}

}  // namespace kelo
