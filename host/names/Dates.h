// Dates of the account, which come as texts: "2024-05-17T10:11:12Z", with another zone, without
// one, with a blank for the "T", or with the colons of a picture's own notes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelo::host {

// The clock of a date that names no zone: the service's and the files' dates are universal time,
// a shot's is on the camera's clock, wherever that was.
enum class DateClock { kUniversal, kCamera };

// As a person reads it, "2024-05-17 10:11", universal time on the local clock, a camera's on its
// own. A text that is no date is shown as it is.
std::string DateText(std::string_view text, DateClock clock);

// ISO 8601, "2024-05-17T10:11:12Z"; a camera's without the Z.
std::string IsoDate(std::string_view text, DateClock clock);

// The same of seconds since 1970. Dates that need more than four digits for the year become the
// nearest that does not.
std::string UniversalDate(std::int64_t seconds);

// The moment that a date of the service names, in seconds since 1970; nothing for what is no date.
std::optional<std::int64_t> MomentOf(std::string_view text);

// Orders dates by the clock on which they are shown, in seconds; nothing for what is no date.
std::optional<std::int64_t> ShownSeconds(std::string_view text, DateClock clock);

}  // namespace kelo::host
