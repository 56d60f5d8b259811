// What the programs kelo and kelo-demo do alike with a command line: options, running, telling
// failures in words, and exit codes.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "commandline/Help.h"
#include "host/commands/Host.h"

namespace kelo::host {

// Gives the program its name, --version, --help in this form, and the options of all
// commands.
void DescribeProgram(CLI::App& app, const std::string& name, const ProgramTexts& texts,
                     CommonOptions& options);

// Reads the line, and calls `run` for its exit code unless the line asks for help. What either
// throws is told.
int RunProgram(CLI::App& app, const ProgramTexts& texts, int argc, char** argv,
               const std::function<int()>& run);

// What a line without a command is answered with; the exit code.
int TellUsage(const CLI::App& app);

// What the action comes to, as an exit code; a failure is told.
int RunAction(const CLI::App& app, Output& out, const Library& library,
              const std::function<int()>& action);

}  // namespace kelo::host
