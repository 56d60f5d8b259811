// The orders in which entries are listed.
#pragma once

#include <string_view>
#include <vector>

#include "KELOAccess.h"

namespace kelo::host {

enum class SortKey { Service, Name, Shot, Upload };

struct SortOrder {
  SortKey key = SortKey::Service;
  bool reverse = false;
};

// The date by which entries are ordered, and which is shown then: that of the upload, or else that
// of the shot; where it is not known, that of the last change.
std::string_view DateOf(const tagKELO_ItemInfo& entry, SortKey key);

// The entries in their order, as views of `entries`. Names as a person sorts them: case and accents
// count after the letters, and 2 comes before 10. Equal ones stay in the service's order; what has
// no date comes last. Reversed, all of that is.
std::vector<const tagKELO_ItemInfo*> Sorted(const std::vector<tagKELO_ItemInfo>& entries,
                                            SortOrder order);

}  // namespace kelo::host
