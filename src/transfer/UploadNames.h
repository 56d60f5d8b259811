// The name under which a file is uploaded, and what it says about the file.
#pragma once

#include <string>
#include <string_view>

#include "KELOAccess.h"

namespace kelo {

// The record's file name, or the last component of its path (empty where the path ends in a
// separator), as character and entity references.
std::string DisplayName(const tagKELO_LoadInfo& record);

// A voice memo that travels with a picture: at least 5 characters, the last 4 ".wav" in any case.
bool IsSoundFile(std::string_view displayName);

}  // namespace kelo
