// Reads dates, whose digits have fixed places, and writes them.
#include "host/names/Dates.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "host/names/Names.h"

namespace kelo::host {
namespace {

namespace chrono = std::chrono;

struct ReadDate {
  chrono::sys_seconds time;
  bool universal = false;  // otherwise a camera's
};

// Whether `text` begins as the pattern says: "0" is a digit, any other character one of its kind.
bool Matches(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) return false;
  for (size_t at = 0; at < pattern.size(); ++at) {
    const char c = text[at];
    const bool fits = pattern[at] == '0'   ? c >= '0' && c <= '9'
                      : pattern[at] == '-' ? c == '-' || c == ':'
                      : pattern[at] == 'T' ? c == 'T' || c == ' '
                                           : c == pattern[at];
    if (!fits) return false;
  }
  return true;
}

int Number(std::string_view digits) {
  int number = 0;
  for (const char digit : digits) number = number * 10 + (digit - '0');
  return number;
}

// The zone behind the seconds, as what is to be taken off the clock; nothing where there is none.
std::optional<chrono::minutes> Zone(std::string_view text) {
  if (text == "Z") return chrono::minutes(0);
  if (text.empty() || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  const bool colon = Matches(text.substr(1), "00:00");
  if (!colon && !Matches(text.substr(1), "0000")) return std::nullopt;
  const chrono::minutes offset = chrono::hours(Number(text.substr(1, 2))) +
                                 chrono::minutes(Number(text.substr(colon ? 4 : 3, 2)));
  return text[0] == '-' ? -offset : offset;
}

std::optional<ReadDate> Read(std::string_view text, DateClock clock) {
  if (!Matches(text, "0000-00-00T00:00:00")) return std::nullopt;
  const auto number = [&](size_t at) { return static_cast<unsigned>(Number(text.substr(at, 2))); };
  const chrono::year_month_day day(chrono::year(Number(text.substr(0, 4))),
                                   chrono::month(number(5)), chrono::day(number(8)));
  if (!day.ok() || number(11) > 23 || number(14) > 59 || number(17) > 60) return std::nullopt;
  const chrono::sys_seconds time = chrono::sys_days(day) + chrono::hours(number(11)) +
                                   chrono::minutes(number(14)) + chrono::seconds(number(17));
  std::string_view rest = text.substr(19);
  if (rest.starts_with('.'))
    rest.remove_prefix(std::min(rest.find_first_not_of("0123456789", 1), rest.size()));
  const auto zone = Zone(rest);
  return ReadDate{zone ? time - *zone : time, zone || clock == DateClock::kUniversal};
}

// On the clock that a person sees.
chrono::sys_seconds ShownTime(const ReadDate& date) {
  if (!date.universal) return date.time;
  const std::time_t seconds = chrono::system_clock::to_time_t(date.time);
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return date.time;
  return date.time + chrono::seconds(local.tm_gmtoff);
}

// Into the places of its digits; a list has a hundred thousand dates.
void WriteNumber(std::string& text, size_t at, size_t digits, std::int64_t number) {
  for (; digits > 0; number /= 10) text[at + --digits] = static_cast<char>('0' + number % 10);
}

std::string Written(chrono::sys_seconds time, char between, bool withSeconds) {
  const auto day = chrono::floor<chrono::days>(time);
  const chrono::year_month_day date(day);
  const chrono::hh_mm_ss clock(time - day);
  std::string text = "0000-00-00 00:00:00";
  WriteNumber(text, 0, 4, static_cast<int>(date.year()));
  WriteNumber(text, 5, 2, static_cast<unsigned>(date.month()));
  WriteNumber(text, 8, 2, static_cast<unsigned>(date.day()));
  text[10] = between;
  WriteNumber(text, 11, 2, clock.hours().count());
  WriteNumber(text, 14, 2, clock.minutes().count());
  WriteNumber(text, 17, 2, clock.seconds().count());
  if (!withSeconds) text.resize(16);
  return text;
}

}  // namespace

std::string DateText(std::string_view text, DateClock clock) {
  const auto date = Read(text, clock);
  return date ? Written(ShownTime(*date), ' ', false) : Shown(text);
}

std::string IsoDate(std::string_view text, DateClock clock) {
  const auto date = Read(text, clock);
  return date ? Written(date->time, 'T', true) + (date->universal ? "Z" : "") : std::string(text);
}

std::string UniversalDate(std::int64_t seconds) {
  constexpr std::int64_t kBegin = -62167219200;  // of the year 0
  constexpr std::int64_t kEnd = 253402300799;    // of the year 9999
  const chrono::seconds told(std::clamp(seconds, kBegin, kEnd));
  return Written(chrono::sys_seconds(told), 'T', true) + "Z";
}

std::optional<std::int64_t> MomentOf(std::string_view text) {
  const auto date = Read(text, DateClock::kUniversal);
  if (!date) return std::nullopt;
  return date->time.time_since_epoch().count();
}

std::optional<std::int64_t> ShownSeconds(std::string_view text, DateClock clock) {
  const auto date = Read(text, clock);
  if (!date) return std::nullopt;
  return ShownTime(*date).time_since_epoch().count();
}

}  // namespace kelo::host
