// XMLUtility: copied results of the search rules, and replacement. Whatever an operation finds is
// complete before its output is touched, since the output may hold the source.
#include "text/XMLUtility.h"

#include <iterator>
#include <optional>
#include <utility>

#include "text/XMLSearch.h"

namespace kelo {
namespace {

uint32_t Store(std::optional<std::string_view> found, std::string& out) {
  if (!found) {
    out.clear();
    return 0;
  }
  out.assign(found->data(), found->size());
  return 1;
}

std::vector<std::string> AllInside(std::string_view source, std::string_view start,
                                   std::string_view end) {
  std::vector<std::string> values;
  ForEachInside(source, start, end, [&](std::string_view value) { values.emplace_back(value); });
  return values;
}

std::vector<std::string> AllBetween(std::string_view source, std::string_view start,
                                    std::string_view end) {
  std::vector<std::string> values;
  ForEachBetween(source, start, end, [&](std::string_view value) { values.emplace_back(value); });
  return values;
}

void Append(std::vector<std::string> values, std::vector<std::string>& out) {
  out.insert(out.end(), std::make_move_iterator(values.begin()),
             std::make_move_iterator(values.end()));
}

}  // namespace

uint32_t XMLUtility::GetValueForOutermostKey(std::string_view source, std::string_view start,
                                             std::string_view end, std::string& out) const {
  if (source.empty() || source.size() < start.size() + end.size()) return 0;
  return Store(FindOutermost(source, start, end), out);
}

uint32_t XMLUtility::GetValueForOutermostTag(std::string_view source, std::string_view tag,
                                             std::string& out) const {
  return Store(FindOutermostTag(source, tag), out);
}

uint32_t XMLUtility::GetValuesInsideKey(std::string_view source, std::string_view start,
                                        std::string_view end, std::string& out) const {
  return Store(FindInside(source, start, end), out);
}

uint32_t XMLUtility::GetAttribute(std::string_view source, std::string_view name,
                                  std::string& out) const {
  if (source.empty() || name.empty()) return 0;
  return Store(FindAttribute(source, name), out);
}

void XMLUtility::GetValueInsideCDATA(std::string_view source, std::string& out) const {
  const auto match = FindNext(source, "<![CDATA[", "]]>", 0);
  Store(match ? std::optional(match->inside) : std::nullopt, out);
}

void XMLUtility::GetValuesInsideKeys(std::string_view source, std::string_view start,
                                     std::string_view end, std::vector<std::string>& out) const {
  Append(AllInside(source, start, end), out);
}

void XMLUtility::GetValuesForTag(std::string_view source, std::string_view tag,
                                 std::vector<std::string>& out) const {
  const std::string name(tag);
  out = AllInside(source, "<" + name + ">", "</" + name + ">");
}

void XMLUtility::GetAttributes(std::string_view source, std::string_view name,
                               std::vector<std::string>& out) const {
  out = name.empty() ? std::vector<std::string>()
                     : AllInside(source, std::string(name) + "=\"", "\"");
}

void XMLUtility::GetValuesBetweenKeys(std::string_view source, std::string_view start,
                                      std::string_view end, std::vector<std::string>& out) const {
  Append(AllBetween(source, start, end), out);
}

void XMLUtility::GetValuesWithElement(std::string_view source, std::string_view tag,
                                      std::vector<std::string>& out) const {
  const std::string name(tag);
  out = AllBetween(source, "<" + name + " ", "</" + name + ">");
}

void XMLUtility::ReplaceAllString(std::string_view source, std::string_view search,
                                  std::string_view replacement, std::string& out) const {
  std::string result;
  if (!search.empty()) {
    result.reserve(source.size());
    size_t from = 0;
    for (size_t at; (at = source.find(search, from)) != std::string_view::npos;) {
      result.append(source.substr(from, at - from)).append(replacement);
      from = at + search.size();
    }
    result.append(source.substr(from));
  }
  out = std::move(result);
}

}  // namespace kelo
