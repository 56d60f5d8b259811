// What `kelo` says about itself beside its commands' descriptions, and `kelo help`.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "commandline/Help.h"
#include "host/commands/Host.h"

namespace kelo::host {

ProgramTexts KeloTexts();

// "kelo help [COMMAND]".
void AddHelpCommand(CLI::App& app, Action& chosen);

// What a wrong command line is answered with: what is wrong with it, what may have been meant, and
// where to read on.
std::string UsageMessage(const CLI::App& app, const CLI::Error& error);

}  // namespace kelo::host
