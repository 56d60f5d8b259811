// How an entry of the account is called where a person reads it: its name, id, kind and format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KELOAccess.hpp"

namespace kelo::host {

// Name and id of an entry as shown to a person, and its kind in words and in JSON.
std::string EntryName(const Item& entry);
std::string EntryId(const Item& entry);
std::string_view KindText(Kind kind);
std::string_view KindJson(Kind kind);
// The kind in a sentence: "an album", "the root album".
std::string KindWithArticle(Kind kind);
// The format of an item: "JPEG", "raw", "unknown".
std::string_view FormatText(std::uint32_t format);

// A folder or an album of any kind; otherwise an item.
bool IsContainer(const Item& entry);

}  // namespace kelo::host
