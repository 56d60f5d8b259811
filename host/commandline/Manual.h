// The manual page, made from the same texts as --help.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace kelo::host {

std::string ManualPage(const CLI::App& app);

}  // namespace kelo::host
