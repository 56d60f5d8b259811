// kelo-devservice: the local service as a program. It prints how to reach it, and stops on an
// interrupt, a termination signal, or, if asked to, at the end of its standard input.
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "devservice/DevService.h"

namespace {

using kelo::devservice::Service;

struct Arguments {
  Service::Options options;
  std::filesystem::path import;
  std::filesystem::path friendFolder;
  std::vector<std::string> accounts;
  std::int64_t expirySeconds = 3600;
  bool untilEof = false;
  bool showOutbox = false;
};

constexpr const char* kFooter =
    "Clients that read their server address from a file find it through the environment variable\n"
    "KELO_URLS_FILE; the line to put there is printed at the start. GET /outbox shows sent mails.\n"
    "Error numbers: 101 unknown API key, 102 unknown authentication token, 103 wrong signature,\n"
    "104 call id used before, 105 malformed query, 106 unknown method, 107 unknown and 108 "
    "expired\n"
    "session token, 203 storage full, 207 unknown folder or album, 301 unusable value, 302 "
    "unknown\n"
    "item, 311 rating outside 0 to 5 or no recipient, 312 belongs to somebody else, 313 invalid\n"
    "recipient, 401 malformed document, 402 malformed multipart body.";

void Declare(CLI::App& app, Arguments& arguments) {
  app.footer(kFooter);
  app.add_option("--data", arguments.options.dataDirectory,
                 "keep database and files in this folder")
      ->type_name("DIR");
  app.add_option("--import", arguments.import, "fill the account from a folder of pictures")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  app.add_option("--friend", arguments.friendFolder, "share this folder as a friend's album")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  app.add_option("--account", arguments.accounts, "add an account with this mail address")
      ->type_name("ADDRESS");
  app.add_option("--port", arguments.options.port, "port on loopback; 0 takes a free one")
      ->capture_default_str()
      ->check(CLI::Range(0, 65535));
  app.add_option("--quota", arguments.options.quotaBytes, "storage of an account in bytes")
      ->capture_default_str();
  app.add_option("--expiry", arguments.expirySeconds,
                 "seconds until an unused session token expires")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  app.add_flag("--until-eof", arguments.untilEof, "stop when standard input ends");
  app.add_flag("--show-outbox", arguments.showOutbox, "print the sent mails when stopping");
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

void Serve(const Arguments& arguments) {
  const int signals = BlockedStopSignals();
  Service service(arguments.options);
  if (!arguments.import.empty()) service.Import(arguments.import);
  if (!arguments.friendFolder.empty()) service.ImportFriend(arguments.friendFolder);
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
  for (const Service::Mail& mail : service.Outbox())
    std::cout << "\n" << kelo::devservice::DescribeMail(mail);
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  arguments.options.logLimit = 100;
  CLI::App app("A complete local photo service on loopback, for trying and testing clients.");
  Declare(app, arguments);
  CLI11_PARSE(app, argc, argv);
  arguments.options.tokenLifetime = std::chrono::seconds(arguments.expirySeconds);
  try {
    Serve(arguments);
  } catch (const std::exception& error) {
    std::cerr << "kelo-devservice: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
