// The asserts as C++, and the reserved ids.
#include "Layout.h"

constexpr bool IsAll(const char (&id)[28], char byte) {
  for (int at = 0; at < 27; ++at)
    if (id[at] != byte) return false;
  return true;
}
static_assert(IsAll(KELO_ROOT_ALBUM_ID, '\xF8') && IsAll(KELO_ALL_ITEMS_ID, '\xFF'));
