// kelo-devservice: the local service as a program. It prints how to reach it, and stops on an
// interrupt, a termination signal, or, if asked to, at the end of its standard input.
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "commandline/Help.h"
#include "commandline/Manual.h"
#include "commandline/WrongUsage.h"
#include "devservice/DevService.h"
#include "devservice/faults/Faults.h"
#include "devservice/program/ControlFile.h"
#include "devservice/program/Ctl.h"
#include "devservice/program/Log.h"
#include "devservice/program/Texts.h"

namespace {

using kelo::devservice::Service;

struct Arguments {
  Service::Options options;
  std::filesystem::path import;
  std::filesystem::path friendFolder;
  std::vector<std::string> accounts;
  std::vector<std::string> faults;
  std::string log;
  bool logJson = false;
  std::string controlFile = kelo::devservice::DefaultControlFile();
  std::int64_t expirySeconds = 3600;
  bool untilEof = false;
  bool showOutbox = false;
  bool manual = false;
};

constexpr int kUsageError = 2;
constexpr std::int64_t kMaxExpiry = 100LL * 365 * 24 * 3600;

std::string WhatIsWrongWithFault(const std::string& text) {
  try {
    kelo::devservice::ReadFault(text);
    return {};
  } catch (const kelo::devservice::FaultError& error) {
    return error.what();
  }
}

void DeclareService(CLI::App& app, Arguments& arguments) {
  Service::Options& options = arguments.options;
  app.add_option("--data", options.dataDirectory, "Keep database and files in this folder")
      ->type_name("DIR");
  app.add_option("--import", arguments.import, "Fill the account from a folder of pictures")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  app.add_option("--friend", arguments.friendFolder, "Share this folder as a friend's album")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  app.add_option("--account", arguments.accounts, "Add an account with this mail address")
      ->type_name("ADDRESS");
  app.add_option("--port", options.port,
                 "Port on 127.0.0.1; 0 takes a free one. Default: with --data the port of last "
                 "time, else a free one")
      ->type_name("PORT")
      ->check(kelo::NumberBetween(0, 65535));
  app.add_option("--quota", options.quotaBytes, "Storage of an account in bytes")
      ->type_name("BYTES")
      ->capture_default_str()
      ->check(kelo::NumberBetween(0, std::numeric_limits<std::int64_t>::max()));
  app.add_option("--expiry", arguments.expirySeconds,
                 "Seconds after which an unused session token expires")
      ->type_name("SECONDS")
      ->capture_default_str()
      ->check(kelo::NumberBetween(1, kMaxExpiry));
}

void DeclareInstruments(CLI::App& app, Arguments& arguments) {
  app.add_option("--fault", arguments.faults, "Make a method fail; see Faults below")
      ->type_name("FAULT")
      ->check(
          CLI::Validator([](const std::string& text) { return WhatIsWrongWithFault(text); }, ""));
  app.add_option("--log", arguments.log, "Add a line for every request to this file; - prints it")
      ->type_name("FILE");
  app.add_flag("--log-json", arguments.logJson, "Write the log as JSON lines")->needs("--log");
  app.add_option("--control-file", arguments.controlFile,
                 "Write the page's URL here while running, for ctl")
      ->type_name("FILE");
  app.add_flag("--until-eof", arguments.untilEof, "Stop when standard input ends");
  app.add_flag("--show-outbox", arguments.showOutbox, "Print the sent mails when stopping");
}

void Declare(CLI::App& app, Arguments& arguments) {
  app.name("kelo-devservice");
  app.set_version_flag("--version", "kelo-devservice " KELO_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this help");
  app.formatter(std::make_shared<kelo::HelpFormatter>(kelo::devservice::ServiceTexts()));
  app.failure_message([](const CLI::App* all, const CLI::Error& error) {
    return all->get_name() + ": " + kelo::UsageMessage(*all, error) + "\n";
  });
  DeclareService(app, arguments);
  DeclareInstruments(app, arguments);
  app.add_flag("--man", arguments.manual)->group("");
  kelo::devservice::DeclareCtl(app);
  app.footer(kelo::devservice::kServiceFooter);  // after the commands, which would inherit it
}

// Signals are read from a descriptor, so that the server's threads never see them.
int BlockedStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  return descriptor;
}

void WaitForStop(int signals, bool untilEof) {
  std::array<pollfd, 2> waits{{{signals, POLLIN, 0}, {untilEof ? STDIN_FILENO : -1, POLLIN, 0}}};
  for (;;) {
    if (poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR) return;
    if (waits[0].revents != 0) return;
    std::array<char, 4096> ignored;
    if (waits[1].revents != 0 && read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) return;
  }
}

bool IsReadable(int descriptor) {
  pollfd wait{descriptor, POLLIN, 0};
  return poll(&wait, 1, 0) > 0;
}

// An import that a signal ends.
struct Interrupted {};

// A count that grows on a terminal; elsewhere only what was skipped.
class ImportMessages {
 public:
  explicit ImportMessages(int signals) : signals_(signals) {}
  ~ImportMessages() { EndLine(); }

  kelo::devservice::ImportWatcher Watcher() {
    return {[this](size_t files) {
              if (IsReadable(signals_)) throw Interrupted();
              if (!terminal_ || files % 100 != 0) return;
              std::cerr << "\r" << files << " files" << std::flush;
              inLine_ = true;
            },
            [this](const std::string& path, const std::string& why) {
              EndLine();
              std::cerr << "kelo-devservice: skipped " << path << ": " << why << "\n";
            }};
  }

 private:
  void EndLine() {
    if (inLine_) std::cerr << "\n";
    inLine_ = false;
  }

  const int signals_;
  const bool terminal_ = isatty(STDERR_FILENO) == 1;
  bool inLine_ = false;
};

void Fill(Service& service, const Arguments& arguments, int signals) {
  ImportMessages messages(signals);
  const auto watcher = messages.Watcher();
  if (!arguments.import.empty()) service.Import(arguments.import, watcher);
  if (!arguments.friendFolder.empty()) service.ImportFriend(arguments.friendFolder, watcher);
  for (const std::string& fault : arguments.faults) service.AddFault(fault);
}

// A thousand idle clients are a thousand descriptors.
void AllowManyDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

void Serve(Arguments& arguments) {
  const int signals = BlockedStopSignals();
  AllowManyDescriptors();
  std::optional<kelo::devservice::Log> log;
  if (!arguments.log.empty()) {
    log.emplace(arguments.log, arguments.logJson);
    arguments.options.onRequest = [&](const auto& record) { log->Write(record); };
  }
  Service service(arguments.options);
  try {
    Fill(service, arguments, signals);
  } catch (const Interrupted&) {
    return;
  }
  const kelo::devservice::ControlFile controlFile(arguments.controlFile, service.PageUrl());
  std::cout << "URL     " << service.Url() << "\npage    " << service.PageUrl() << "\nkey     "
            << service.ApiKey() << "\ntoken   " << service.AuthToken() << "\nsecret  "
            << service.Secret()
            << "\nKELO_URLS_FILE should name a file with this line:\n  kKELO_URLofKELOServer = \""
            << service.Url() << "\"\n";
  for (const std::string& address : arguments.accounts) {
    const Service::Account account = service.AddAccount(address);
    std::cout << "Account " << account.address << ": token " << account.authToken << ", secret "
              << account.secret << "\n";
  }
  std::cout << std::flush;
  WaitForStop(signals, arguments.untilEof);
  if (!arguments.showOutbox) return;
  for (const kelo::devservice::Mail& mail : service.Outbox())
    std::cout << "\n" << kelo::devservice::DescribeMail(mail);
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  arguments.options.logLimit = 100;
  CLI::App app("A complete local photo service on loopback, for trying and testing clients");
  Declare(app, arguments);
  try {
    app.parse(argc, argv);
    arguments.options.tokenLifetime = std::chrono::seconds(arguments.expirySeconds);
    if (arguments.manual)
      std::cout << kelo::ManualPage(app, kelo::devservice::ServiceTexts());
    else if (app.get_subcommands().empty())
      Serve(arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsageError;
  } catch (const std::exception& error) {
    std::cerr << "kelo-devservice: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
