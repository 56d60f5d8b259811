// The command demo, which starts the program kelo-demo: that one has the service it needs.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "host/commands/Host.h"
#include "host/names/Failure.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDemo = "kelo-demo";

// In the place of this program: the one that lies beside it, or else the one of PATH.
[[noreturn]] void Start(const CommonOptions& options, const std::string& folder) {
  std::vector<std::string> words = {kDemo};
  const Persistence& persistence = options.persistence;
  if (persistence.retries) words.push_back(fmt::format("--retries={}", *persistence.retries));
  if (const auto time = persistence.giveUpAfter)
    words.push_back(fmt::format("--give-up-after={}s", time->count() / 1000));
  if (options.progress) words.emplace_back("--progress");
  if (!options.logFile.empty()) words.push_back("--log-file=" + options.logFile);
  if (options.quiet) words.emplace_back("--quiet");
  if (options.persistence.verbose) words.emplace_back("--verbose");
  if (!folder.empty()) words.insert(words.end(), {"--", folder});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::error_code unknown;
  // Linux's: /proc/self/exe; elsewhere PATH alone.
  const fs::path here = fs::read_symlink("/proc/self/exe", unknown).parent_path();
  if (!unknown) ::execv((here / kDemo).c_str(), arguments.data());
  ::execvp(kDemo, arguments.data());
  throw Failure(fmt::format(
      "the demonstration is a program of its own, {}, which cannot be started: {}; install the "
      "package kelo-devservice, or put the program beside kelo or into a folder of PATH",
      kDemo, std::strerror(errno)));
}

}  // namespace

void AddDemoCommand(CLI::App& app, const CommonOptions& options) {
  CLI::App* demo =
      app.add_subcommand("demo", "Show everything, on a local service, by the program kelo-demo");
  const auto folder = std::make_shared<std::string>();
  demo->add_option("DIR", *folder, "Folder with pictures; without one, the sample pictures");
  demo->footer(
      "Uploads the pictures, organises, shares and downloads them, and proves that every byte came "
      "back. kelo-demo comes with kelo-devservice, and is looked for beside kelo and in PATH.");
  demo->callback([folder, &options] { Start(options, *folder); });
}

}  // namespace kelo::host
