// Results in JSON, in the shapes that docs/json.md describes: camelCase names, UTF-8 with
// references resolved, dates in ISO 8601, and the ids that commands take.
#pragma once

#include <cstdint>
#include <string_view>

#include "KELOAccess.hpp"
#include "host/terminal/Output.h"

namespace kelo::host {

// Any entry of the account: id, kind, name, parentId, and what its kind has besides.
Json EntryJson(const Item& entry);

// The id as commands take it: "root" for the root album. Null for none.
Json IdJson(std::string_view id);

// Why there is no result: {"code": 4129, "message": "the connection was lost"}.
Json ErrorJson(std::uint32_t code, std::uint32_t command = 0);

}  // namespace kelo::host
