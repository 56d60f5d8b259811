// Dates of the account, which come as texts: "2024-05-17T10:11:12Z", with another zone, without one
// (a camera's clock), or with the colons and the blank of a picture's own notes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelo::host {

// As a person reads it, "2024-05-17 10:11": a date that names its zone on the local clock, any
// other on its own. A text that is no date is shown as it is.
std::string DateText(std::string_view raw);

// ISO 8601, "2024-05-17T10:11:12Z"; without the Z where the zone is not known.
std::string IsoDate(std::string_view raw);

// Orders dates by the clock on which they are shown, in seconds; nothing for what is no date.
std::optional<std::int64_t> ShownSeconds(std::string_view raw);

}  // namespace kelo::host
