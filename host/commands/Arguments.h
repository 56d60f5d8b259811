// Rules for command-line arguments that several commands have.
#pragma once

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>

#include "host/names/Names.h"

namespace kelo::host {

// Records cut what is too long without a word; here it is an error instead.
inline CLI::Validator AtMost(size_t bytes) {
  return CLI::Validator(
      [bytes](std::string& text) {
        return text.size() > bytes ? fmt::format("'{}...' is longer than {} bytes",
                                                 Shown(text.substr(0, 20)), bytes)
                                   : std::string();
      },
      "");
}

}  // namespace kelo::host
