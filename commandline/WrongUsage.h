// Tells what is wrong with a command line, and what its writer may have meant.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <string>

namespace kelo {

// An option with one value: `fault(value)` says what is wrong, or nothing. It also checks a value
// from the environment, where CLI11 would silently skip a bad one.
CLI::Option* AddCheckedOption(CLI::App& app, const std::string& name, std::string& target,
                              const std::string& about,
                              std::function<std::string(const std::string&)> fault);

// For options that take a whole number. CLI11's own would make a huge number of -1, cut one that is
// too great, and its words change with its version.
CLI::Validator NumberBetween(std::int64_t least, std::int64_t most);

// "there is no command 'NAME'; did you mean 'OTHER'?"
std::string NoCommand(const CLI::App& app, const std::string& name);

// What a wrong command line is answered with: what is wrong with it, what may have been meant, and
// where to read on.
std::string UsageMessage(const CLI::App& app, const CLI::Error& error);

}  // namespace kelo
