// What `kelo` says about itself beside its commands' descriptions, and `kelo help`.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "commandline/Help.h"
#include "host/commands/Host.h"

namespace kelo::host {

ProgramTexts KeloTexts();

// "kelo help [COMMAND]" and "kelo completion SHELL".
void AddHelpCommand(CLI::App& app, Action& chosen);

}  // namespace kelo::host
