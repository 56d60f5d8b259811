// What is said about a wrong command line.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <string>

namespace kelo {

// An option with one value, which `fault` looks at: what is wrong with it, or nothing. That of the
// environment is looked at as well, where CLI11 passes over what its own validators refuse.
CLI::Option* AddCheckedOption(CLI::App& app, const std::string& name, std::string& target,
                              const std::string& about,
                              std::function<std::string(const std::string&)> fault);

// For options that take a whole number. CLI11's own would make a huge number of -1, cut one that is
// too great, and its words change with its version.
CLI::Validator NumberBetween(std::int64_t least, std::int64_t most);

// The innermost command that the line names; null where it names none.
const CLI::App* NamedCommand(const CLI::App& app);

// "there is no command 'NAME'; did you mean 'OTHER'?"
std::string NoCommand(const CLI::App& app, const std::string& name);

// What is wrong with the line, and what may have been meant.
std::string WrongUsage(const CLI::App& app, const CLI::Error& error);

}  // namespace kelo
