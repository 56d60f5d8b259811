// Which of all that was named a person wants to have transferred: by name, date and size. Files on
// their way up and items on their way down go by the same rules.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelo::host {

struct Filter {
  // Globs without groups in braces, case not counted. One without a slash is compared with names,
  // any other with the path below the folder that was named; there "*" matches slashes too. "Trip/"
  // is all that any folder Trip holds.
  std::vector<std::string> include{};  // empty: everything
  std::vector<std::string> exclude{};
  // Seconds by the clock on which dates are shown (Dates.h).
  std::optional<std::int64_t> newerThan{};  // from here on
  std::optional<std::int64_t> olderThan{};  // up to here
  // Bytes.
  std::optional<std::uint64_t> largerThan{};
  std::optional<std::uint64_t> smallerThan{};

  // `below` is the path below that folder. What is excluded, or lies in a folder that is.
  bool Excludes(const std::filesystem::path& below) const;
  bool TakesName(const std::filesystem::path& below) const;
  // Without a date only where none is asked for.
  bool TakesDate(std::optional<std::int64_t> shown) const;
  bool TakesSize(std::uint64_t bytes) const;
  // Whether a name alone does not decide.
  bool HasBounds() const { return newerThan || olderThan || largerThan || smallerThan; }
};

// A glob for each choice of the alternatives in its braces, "a.nef" and "a.jpg" for "a.{nef,jpg}".
// A brace that is not closed, a group without a comma and what stands behind a backslash are
// ordinary signs. Empty where that would be more than 10,000 globs.
std::vector<std::string> WithoutBraces(const std::string& glob);

// What a person means by a date ("2024", "2024-05", "2024-05-17", or with a time): where it begins;
// or by an age ("12h", "7d", "3w", "1y" of 365 days): that long before `now`. Nothing for what is
// neither.
std::optional<std::int64_t> MomentMeant(std::string_view text, std::time_t now);

// Bytes of "4096", "500k", "10M", "2G", "1T", in steps of 1000 as ByteText shows them. Nothing for
// what is no size.
std::optional<std::uint64_t> SizeMeant(std::string_view text);

}  // namespace kelo::host
