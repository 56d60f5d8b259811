// What a stored file is: its MIME type and the date it was shot.
#pragma once

#include <string_view>

#include "devservice/store/Store.h"

namespace kelo::devservice {

// Whether the service refuses a file of this name: programs.
bool IsRefusedFile(std::string_view name);

// Fills format (from the name's extension and the first bytes) and, where empty, shotDate (EXIF
// text, "2026:01:31 12:34:56") from the file itself. Thread-safe.
void DescribeFile(Item& item);

}  // namespace kelo::devservice
