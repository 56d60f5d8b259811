// What is said about a wrong command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kelo {

// The innermost command that the line names; null where it names none.
const CLI::App* NamedCommand(const CLI::App& app);

// "there is no command 'NAME'; did you mean 'OTHER'?"
std::string NoCommand(const CLI::App& app, const std::string& name);

// What is wrong with the line, and what may have been meant.
std::string WrongUsage(const CLI::App& app, const CLI::Error& error);

}  // namespace kelo
