// The search rules once more, as plainly as they can be written: byte by byte, copying everything.
// The real ones are compared with these on random texts and by the fuzzer.
#pragma once

#include <optional>

#include "text/XMLUtility.h"

namespace kelo::model {

inline std::optional<std::size_t> First(const std::string& source, const std::string& key,
                                        std::size_t from) {
  for (std::size_t i = from; !key.empty() && i + key.size() <= source.size(); ++i)
    if (std::string(source, i, key.size()) == key) return i;
  return std::nullopt;
}

inline std::optional<std::size_t> Last(const std::string& source, const std::string& key,
                                       std::size_t from) {
  std::optional<std::size_t> last;
  for (auto at = First(source, key, from); at; at = First(source, key, *at + 1)) last = at;
  return last;
}

inline bool TooShort(const std::string& source, const std::string& start, const std::string& end) {
  return source.empty() || source.size() < start.size() + end.size();
}

inline std::optional<std::string> Outermost(const std::string& source, const std::string& start,
                                            const std::string& end) {
  const auto at = First(source, start, 0);
  const auto stop = at ? Last(source, end, *at + start.size()) : std::nullopt;
  if (TooShort(source, start, end) || !stop) return std::nullopt;
  return std::string(source, *at + start.size(), *stop - *at - start.size());
}

inline std::optional<std::string> Inside(const std::string& source, const std::string& start,
                                         const std::string& end) {
  const auto at = First(source, start, 0);
  const std::size_t begin = at ? *at + start.size() : 0;
  const auto stop = First(source, end, begin);
  if (TooShort(source, start, end) || start.empty() || !stop) return std::nullopt;
  return std::string(source, begin, *stop - begin);
}

// Every value, with its keys or without.
inline std::vector<std::string> All(const std::string& source, const std::string& start,
                                    const std::string& end, bool withKeys) {
  std::vector<std::string> values;
  std::size_t position = 0;
  while (!TooShort(source, start, end) && position < source.size()) {
    const auto at = First(source, start, position);
    const auto stop = at ? First(source, end, *at + start.size()) : std::nullopt;
    if (!stop) break;
    const std::string value(source, *at + start.size(), *stop - *at - start.size());
    values.push_back(withKeys ? start + value + end : value);
    position = *stop + end.size();
  }
  return values;
}

// Replaces in place, as often as there is something left.
inline std::string Replace(const std::string& source, const std::string& search,
                           const std::string& replacement) {
  if (source.empty() || search.empty()) return {};
  std::string copy = source;
  for (auto at = First(copy, search, 0); at; at = First(copy, search, *at + replacement.size()))
    copy.replace(*at, search.size(), replacement);
  return copy;
}

// The first operation that gives something else than the rules, or leaves something else in its
// output: some leave that alone where there is nothing to look in, and some lists grow. Or "". The
// output may be, or hold, the text that is searched: callers narrow a text in place.
inline std::string Disagreement(const std::string& source, const std::string& start,
                                const std::string& end) {
  using Values = std::vector<std::string>;
  const XMLUtility xml;
  std::string failed;
  const auto one = [&](const char* name, const std::optional<std::string>& value, bool untouched,
                       auto find) {
    std::string out = "old";
    const bool found = find(source, out) == 1;
    if (found != value.has_value() || out != value.value_or(untouched ? "old" : "")) failed = name;
    std::string inPlace = source;
    find(inPlace, inPlace);
    if (inPlace != value.value_or(untouched ? source : "")) failed = name;
  };
  const auto list = [&](const char* name, bool grows, const Values& values, auto find) {
    Values out{"old"};
    find(source, out);
    Values inPlace{source};
    find(inPlace[0], inPlace);
    const auto behind = [&](const std::string& before) {
      Values all = values;
      if (grows) all.insert(all.begin(), before);
      return all;
    };
    if (out != behind("old") || inPlace != behind(source)) failed = name;
  };
  const std::string open = "<" + start + ">", close = "</" + start + ">", named = start + "=\"";
  const bool hasName = !source.empty() && !start.empty();
  one(
      "OutermostKey", Outermost(source, start, end), TooShort(source, start, end),
      [&](auto& from, auto& out) { return xml.GetValueForOutermostKey(from, start, end, out); });
  one(
      "OutermostTag", Outermost(source, open, close), false,
      [&](auto& from, auto& out) { return xml.GetValueForOutermostTag(from, start, out); });
  one(
      "InsideKey", Inside(source, start, end), false,
      [&](auto& from, auto& out) { return xml.GetValuesInsideKey(from, start, end, out); });
  one(
      "Attribute", hasName ? Inside(source, named, "\"") : std::nullopt, !hasName,
      [&](auto& from, auto& out) { return xml.GetAttribute(from, start, out); });
  list(
      "InsideKeys", true, All(source, start, end, false),
      [&](auto& from, auto& out) { xml.GetValuesInsideKeys(from, start, end, out); });
  list(
      "BetweenKeys", true, All(source, start, end, true),
      [&](auto& from, auto& out) { xml.GetValuesBetweenKeys(from, start, end, out); });
  list(
      "Tag", false, All(source, open, close, false),
      [&](auto& from, auto& out) { xml.GetValuesForTag(from, start, out); });
  list(
      "Attributes", false, hasName ? All(source, named, "\"", false) : Values(),
      [&](auto& from, auto& out) { xml.GetAttributes(from, start, out); });
  list("WithElement", false, All(source, "<" + start + " ", close, true),
       [&](auto& from, auto& out) { xml.GetValuesWithElement(from, start, out); });
  std::string replaced;
  xml.ReplaceAllString(source, start, end, replaced);
  std::string byItself = source;
  xml.ReplaceAllString(byItself, start, byItself, byItself);
  const bool areRight =
      replaced == Replace(source, start, end) && byItself == Replace(source, start, source);
  return areRight ? failed : "ReplaceAll";
}

}  // namespace kelo::model
