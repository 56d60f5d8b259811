// The search rules by which values are cut out of service answers, without copying anything.
//
// An answer is never parsed into a tree: it is searched as plain bytes, exactly and
// case-sensitively, with no regard for white space, comments, quoting or nesting beyond what is
// said here. XMLUtility offers the same rules with copied results; the loading of large answers
// uses these directly.
//
// Every result is a view into `source` and lives as long as the source does. An empty key finds
// nothing. Any thread; no state.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>

namespace kelo {

// Position of the first `key` at or after `from`; npos if there is none or the key is empty.
size_t FindKey(std::string_view source, std::string_view key, size_t from = 0);

// From just after the first `start` to just before the last `end` behind it.
std::optional<std::string_view> FindOutermost(std::string_view source, std::string_view start,
                                              std::string_view end);

// FindOutermost between "<tag>" and "</tag>".
std::optional<std::string_view> FindOutermostTag(std::string_view source, std::string_view tag);

// From just after the first `start` to just before the next `end`. Deliberately, a missing `start`
// does not fail: the value then begins where the source does.
std::optional<std::string_view> FindInside(std::string_view source, std::string_view start,
                                           std::string_view end);

// FindInside between `name="` and the next quote: an absent attribute gives the text up to the
// first quote of the source. The name is matched as a substring: "id" also finds `albumid="`.
std::optional<std::string_view> FindAttribute(std::string_view source, std::string_view name);

// FindAttribute for callers that must tell absent from empty: nothing where `name="` is missing.
std::optional<std::string_view> FindPresentAttribute(std::string_view source,
                                                     std::string_view name);

// One step of the repeated search: what stands at and after `from`.
struct KeyMatch {
  std::string_view inside;   // between the keys
  std::string_view between;  // both keys included
  size_t next = 0;           // where the next search begins
};
std::optional<KeyMatch> FindNext(std::string_view source, std::string_view start,
                                 std::string_view end, size_t from);

namespace detail {
// A visitor that returns bool ends the walk with false; any other return value is ignored.
template <typename F>
bool Visit(F& visit, std::string_view value) {
  if constexpr (std::is_same_v<std::invoke_result_t<F&, std::string_view>, bool>) {
    return visit(value);
  } else {
    visit(value);
    return true;
  }
}

template <typename F>
void Walk(std::string_view source, std::string_view start, std::string_view end,
          std::string_view KeyMatch::*part, F& visit) {
  size_t from = 0;
  while (const auto match = FindNext(source, start, end, from)) {
    if (!Visit(visit, (*match).*part)) return;
    from = match->next;
  }
}
}  // namespace detail

// Calls visit(value) for each non-overlapping text between a start key and the next end key.
template <typename F>
void ForEachInside(std::string_view source, std::string_view start, std::string_view end,
                   F&& visit) {
  detail::Walk(source, start, end, &KeyMatch::inside, visit);
}

// Likewise, with both keys as part of the text.
template <typename F>
void ForEachBetween(std::string_view source, std::string_view start, std::string_view end,
                    F&& visit) {
  detail::Walk(source, start, end, &KeyMatch::between, visit);
}

}  // namespace kelo
