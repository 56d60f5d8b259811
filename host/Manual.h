// The manual page and the shell completion, made from the same texts as --help.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace kelo::host {

std::string ManualPage(const CLI::App& app);
std::string BashCompletion(const CLI::App& app);

}  // namespace kelo::host
