// The manual page, made from the same texts as --help.
#pragma once

#include <string>

#include "commandline/Help.h"

namespace kelo {

// Roff of the program's page in section 1.
std::string ManualPage(const CLI::App& app, const ProgramTexts& texts);

}  // namespace kelo
