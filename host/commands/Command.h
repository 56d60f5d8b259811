// How a command is added to the command line: its options, rules for its arguments, and what it
// runs.
#pragma once

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>

#include "host/commands/Host.h"
#include "host/names/Names.h"

namespace kelo::host {

// Of a command that has no other options.
struct JsonOption {
  bool json = false;
};

// The new command, to describe its options, and where their values go. Parsing makes it the chosen
// one. A member `json` of the options, when set, has the results told in JSON.
template <typename Options>
auto AddCommand(CLI::App& app, Action& chosen, const std::string& name, const std::string& about,
                int (*run)(Host&, const Options&)) {
  CLI::App* command = app.add_subcommand(name, about);
  const auto options = std::make_shared<Options>();
  command->callback([options, run, &chosen] {
    chosen = [options, run](Host& host) {
      if constexpr (requires { options->json; })
        if (options->json) host.Out().UseJson();
      return run(host, *options);
    };
  });
  return std::pair(command, options);
}

// Tags, separated by commas.
inline CLI::Validator HasATag() {
  return CLI::Validator(
      [](const std::string& tags) {
        return tags.find_first_not_of(", ") == tags.npos ? "there is no tag in it" : "";
      },
      "");
}

// A text that is longer than its record is an error.
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
