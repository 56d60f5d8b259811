// Compares names with globs, and reads the words for dates and sizes.
#include "host/names/Filter.h"

#include <fnmatch.h>
#include <locale.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

#include "host/names/Dates.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxGlobs = 10'000;

// Characters of UTF-8, however they are composed. Where the system has no such locale, and in a
// name that is none, bytes.
bool Matches(const std::string& glob, const std::string& text) {
  static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  std::string composedGlob;
  std::string composedText;
  const std::string_view left = ComposeUtf8(glob, composedGlob);
  const std::string_view right = ComposeUtf8(text, composedText);
  const bool isUtf8 = utf8 != nullptr && left.data() != nullptr && right.data() != nullptr;
  if (!isUtf8) return fnmatch(glob.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
  const locale_t before = ::uselocale(utf8);
  const bool matches =
      fnmatch(std::string(left).c_str(), std::string(right).c_str(), FNM_CASEFOLD) == 0;
  ::uselocale(before);
  return matches;
}

// As in other programs: a "/" in front begins at the top, one at the end means all that is in such
// a folder, and "**/" stands for no folder as well.
bool MatchesPath(std::string glob, const std::string& path) {
  const bool anywhere = glob.find('/') + 1 == glob.size();
  if (glob.ends_with('/')) glob += '*';
  if (glob.starts_with('/')) glob.erase(0, 1);
  return Matches(glob, path) || (anywhere && Matches("*/" + glob, path)) ||
         (glob.starts_with("**/") && Matches(glob.substr(3), path));
}

bool Matches(const std::vector<std::string>& globs, const fs::path& below) {
  if (globs.empty()) return false;
  const std::string path = below.generic_string();
  const std::string name = below.filename().string();
  return std::ranges::any_of(globs, [&](const std::string& glob) {
    return glob.find('/') == glob.npos ? Matches(glob, name) : MatchesPath(glob, path);
  });
}

// The places of the brace at `open`, of the commas of its group, and of the brace that closes it.
// Empty where it begins no group.
std::vector<size_t> GroupAt(const std::string& glob, size_t open) {
  std::vector<size_t> places = {open};
  int depth = 0;
  for (size_t at = open; at < glob.size(); ++at) {
    if (glob[at] == '\\')
      ++at;
    else if (glob[at] == '{')
      ++depth;
    else if (glob[at] == ',' && depth == 1)
      places.push_back(at);
    else if (glob[at] == '}' && --depth == 0) {
      const bool hasComma = places.size() > 1;
      places.push_back(at);
      return hasComma ? places : std::vector<size_t>();
    }
  }
  return {};
}

// No group begins before `from`.
void AddWithoutBraces(const std::string& glob, size_t from, std::vector<std::string>& globs) {
  std::vector<size_t> places;
  for (; from < glob.size() && places.empty(); from += places.empty() ? 1 : 0)
    if (glob[from] == '\\')
      ++from;
    else if (glob[from] == '{')
      places = GroupAt(glob, from);
  if (places.empty()) globs.push_back(glob);
  for (size_t i = 0; i + 1 < places.size() && globs.size() <= kMaxGlobs; ++i) {
    const std::string one = glob.substr(places[i] + 1, places[i + 1] - places[i] - 1);
    AddWithoutBraces(glob.substr(0, from) + one + glob.substr(places.back() + 1), from, globs);
  }
}

// The digits in front, and what is behind them; nothing where there are none, or too many.
struct Amount {
  std::uint64_t number = 0;
  std::string_view unit;
};
std::optional<Amount> ReadAmount(std::string_view text) {
  Amount amount;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, amount.number);
  if (error != std::errc()) return std::nullopt;
  amount.unit = text.substr(static_cast<size_t>(stop - text.data()));
  return amount;
}

std::optional<std::int64_t> SecondsOf(std::string_view age) {
  constexpr std::int64_t kMaxAge = 10'000;  // of any unit
  const auto amount = ReadAmount(age);
  if (!amount || amount->number > kMaxAge || amount->unit.size() != 1) return std::nullopt;
  const auto number = static_cast<std::int64_t>(amount->number);
  switch (amount->unit.front()) {
    case 'h':
      return number * 3600;
    case 'd':
      return number * 86400;
    case 'w':
      return number * 7 * 86400;
    case 'y':
      return number * 365 * 86400;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool Filter::Excludes(const fs::path& below) const {
  for (fs::path path = below; !exclude.empty() && !path.empty(); path = path.parent_path())
    if (Matches(exclude, path)) return true;
  return false;
}

bool Filter::TakesName(const fs::path& below) const {
  return !Excludes(below) && (include.empty() || Matches(include, below));
}

bool Filter::TakesDate(std::optional<std::int64_t> shown) const {
  if (!shown) return !newerThan && !olderThan;
  return (!newerThan || *shown >= *newerThan) && (!olderThan || *shown < *olderThan);
}

bool Filter::TakesSize(std::uint64_t bytes) const {
  return (!largerThan || bytes > *largerThan) && (!smallerThan || bytes < *smallerThan);
}

std::vector<std::string> WithoutBraces(const std::string& glob) {
  std::vector<std::string> globs;
  constexpr std::string_view kFolders = "/**/";  // or no folder
  std::string spelled = glob;
  for (size_t at = 0; (at = spelled.find(kFolders, at)) != spelled.npos; at += kFolders.size() + 2)
    spelled.replace(at, kFolders.size(), "{/,/**/}");
  AddWithoutBraces(spelled, 0, globs);
  return globs.size() <= kMaxGlobs ? globs : std::vector<std::string>();
}

std::optional<std::int64_t> MomentMeant(std::string_view text, std::time_t now) {
  if (const auto age = SecondsOf(text))
    return ShownSeconds(UniversalDate(now - *age), DateClock::kUniversal);
  // The end of a date that names none.
  constexpr std::string_view kBegin = "0000-01-01T00:00:00";
  std::string whole(text);
  for (const size_t length : {4u, 7u, 10u, 16u})
    if (text.size() == length) whole += kBegin.substr(length);
  // What stands behind the seconds is a zone, or nothing.
  if (whole.size() > 19 && !IsoDate(whole, DateClock::kCamera).ends_with('Z')) return std::nullopt;
  return ShownSeconds(whole, DateClock::kCamera);
}

std::optional<std::uint64_t> SizeMeant(std::string_view text) {
  constexpr std::string_view kUnits = "bkmgt";
  const auto amount = ReadAmount(text);
  if (!amount || amount->unit.size() > 1) return std::nullopt;
  const char unit = amount->unit.empty() ? 'b' : amount->unit.front();
  size_t steps = kUnits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(unit))));
  if (steps == kUnits.npos) return std::nullopt;
  std::uint64_t bytes = amount->number;
  for (; steps > 0; --steps) {
    if (bytes > std::numeric_limits<std::uint64_t>::max() / 1000) return std::nullopt;
    bytes *= 1000;
  }
  return bytes;
}

}  // namespace kelo::host
