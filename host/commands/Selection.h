// The options by which put and get are told what to take: a filter, and a list of names.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host/names/Filter.h"

namespace kelo::host {

// `verb` is what the command does with what matches: "Send".
void AddFilterOptions(CLI::App& command, Filter& filter, const std::string& verb);
// Of what has its size before the transfer.
void AddSizeOptions(CLI::App& command, Filter& filter);
// Says how globs are compared with what lies below `top`, an argument.
std::string GlobHelp(const std::string& top);

// The file that lists further arguments of the name `label`.
void AddListOption(CLI::App& command, std::string& list, const std::string& label);
// The names, and behind them the lines of the list: a path, "-" for standard input, "" for none.
// Empty lines count for nothing. Throws Failure where it cannot be read.
std::vector<std::string> WithListed(std::vector<std::string> names, const std::string& list);

}  // namespace kelo::host
