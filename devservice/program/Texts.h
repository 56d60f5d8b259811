// What kelo-devservice says about itself beside the description of its command line.
#pragma once

#include "commandline/Help.h"

namespace kelo::devservice {

ProgramTexts ServiceTexts();

extern const char* const kServiceFooter;

}  // namespace kelo::devservice
