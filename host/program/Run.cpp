// Turns failures, signals and wrong usage into messages and exit codes.
#include "host/program/Run.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>

#include "commandline/Manual.h"
#include "commandline/WrongUsage.h"
#include "host/names/ResultText.h"
#include "host/program/Help.h"

namespace kelo::host {
namespace {

// "30s", "5m" or "1h"; nothing where it is none of these.
std::optional<std::chrono::milliseconds> TimeOf(const std::string& text) {
  constexpr std::int64_t kMax = 1'000'000'000;  // seconds
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  const size_t unit = stop + 1 == end ? std::string_view("smh").find(*stop) : std::string::npos;
  if (error != std::errc() || number < 1 || number > kMax || unit == std::string::npos) return {};
  constexpr int kSeconds[] = {1, 60, 3600};
  return std::chrono::seconds(number * kSeconds[unit]);
}

// The exit code of a line that is not to be run: a wrong one, or one that asks for help.
std::optional<int> ParsedTo(CLI::App& app, int argc, char** argv) try {
  app.parse(argc, argv);
  return std::nullopt;
} catch (const CLI::ParseError& error) {
  return app.exit(error) == 0 ? kExitDone : kExitUsage;
}

// The status, unless standard output did not take everything.
int Written(int status) {
  std::cout.flush();
  Output().Finish();
  return status;
}

// What the call comes to, as an exit code; a failure is told.
int Told(const CLI::App& app, Output& out, const std::function<int()>& call) try {
  return call();
} catch (const CLI::ParseError& error) {
  out.Problem(UsageMessage(app, error));
  return kExitUsage;
} catch (const std::exception& failure) {
  if (Interrupt::Signal() == 0) out.Problem(Sentence(failure));
  const auto* own = dynamic_cast<const Failure*>(&failure);
  return own == nullptr ? kExitFailed : own->Exit();
}

}  // namespace

void DescribeProgram(CLI::App& app, const std::string& name, const ProgramTexts& texts,
                     CommonOptions& options) {
  app.name(name);
  app.set_version_flag("--version", name + " " KELO_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this help");
  app.formatter(std::make_shared<HelpFormatter>(texts));
  app.failure_message([](const CLI::App* all, const CLI::Error& error) {
    return fmt::format("{}: {}\n", all->get_name(), UsageMessage(*all, error));
  });
  app.add_flag("-q,--quiet", options.quiet, "Tell only what fails, and what was asked for");
  app.add_flag("-v,--verbose", options.persistence.verbose, "Show each request to the service");
  app.add_option("--retries", options.persistence.retries,
                 "Try again so often at most what fails by a lost or refused connection or a "
                 "time-out; without it, as often as --give-up-after allows")
      ->check(NumberBetween(0, 1000))
      ->type_name("N");
  app.add_option_function<std::string>(
         "--give-up-after",
         [&options](const std::string& time) { options.persistence.giveUpAfter = TimeOf(time); },
         "Fail when nothing has answered for so long, e.g. 30s, 5m or 1h; 5m for put, get and "
         "check, 20s for other commands")
      ->check(CLI::Validator(
          [](const std::string& text) {
            return TimeOf(text) ? "" : fmt::format("'{}' is no time such as 30s, 5m or 1h", text);
          },
          ""))
      ->type_name("TIME");
  app.add_flag("--progress", options.progress,
               "Tell how far put, get and check are, a line a second, where there is no terminal");
  app.add_option("--log-file", options.logFile,
                 "Append to this file what is said on standard error, and each request")
      ->type_name("FILE");
  app.add_flag("--man")->group("");
}

int RunProgram(CLI::App& app, const ProgramTexts& texts, int argc, char** argv,
               const std::function<int()>& run) try {
  if (const auto status = ParsedTo(app, argc, argv)) return Written(*status);
  if (app.count("--man") == 0) return run();
  std::cout << ManualPage(app, texts);
  return Written(0);
} catch (const std::exception& failure) {
  fmt::print(stderr, "{}: {}\n", app.get_name(), failure.what());
  return kExitFailed;
}

int TellUsage(const CLI::App& app) {
  fmt::print(stderr, "{}", app.help());
  return kExitUsage;
}

int RunAction(const CLI::App& app, Output& out, const Library& library,
              const std::function<int()>& action) {
  int status = Told(app, out, action);
  const bool isAborted = status != kExitDone && Interrupt::Signal() != 0;
  if (isAborted) status = Interrupt::ExitCode();
  out.TellSummary(status);
  const auto finish = [&] {
    out.Finish();
    return status;
  };
  if (!isAborted) status = Told(app, out, finish);
  if (const std::string why = library.Explanation();
      status != kExitDone && !why.empty() && !isAborted)
    out.Problem(why);
  if (isAborted) {
    out.SayAborted();
    return status;
  }
  if (status != 0 && library.WantsTrace())
    out.Note(fmt::format("'{} -v' shows the requests, and what came of each", app.get_name()));
  return status;
}

}  // namespace kelo::host
