// login, logout, extend, quota.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <optional>

#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

struct LoginOptions {
  Credentials credentials;
  std::optional<std::string> url;
};

int Login(Host& host, const LoginOptions& options) {
  const StateFile state;
  if (options.url) state.TryUrl(*options.url);
  Library& library = host.Bare();
  library.OpenSession(options.credentials);
  if (options.url) state.KeepUrl(*options.url);
  state.Save({library.Session(), options.credentials.secret});
  fmt::print("logged in\n");
  return 0;
}

int Logout(Host& host, bool forget) {
  const StateFile state;
  if (!forget) {
    try {
      host.WithSession().CloseSession();
    } catch (const CommandFailure& failure) {
      if (failure.Code() != kKELOResult_NoSession) throw;  // over already: nothing left to close
    }
  }
  state.Remove();
  fmt::print("{}\n", forget ? "forgotten here; the service was not told" : "logged out");
  return 0;
}

int Extend(Host& host) {
  const StoredSession stored = StateFile().Load();
  Library& library = host.WithSession();
  library.ExtendToken(stored.session, stored.secret);
  // Extending reports nothing by itself; whether the session lives shows in the next request.
  library.Capacity();
  fmt::print("the session is alive\n");
  return 0;
}

int Quota(Host& host) {
  const tagKELO_StorageCapacityInfo capacity = host.WithSession().Capacity();
  // The record is packed: its fields are copied before anything takes a reference to them.
  const std::uint64_t used = capacity.dataCapacity;
  const std::uint64_t all = capacity.storageCapacity;
  const double percent =
      all == 0 ? 0 : 100.0 * static_cast<double>(used) / static_cast<double>(all);
  fmt::print("{} of {} used ({:.1f} %)\n", ByteText(used), ByteText(all), percent);
  return 0;
}

// The library's fields hold 32 characters; a cut credential would fail without saying why.
std::string CheckCredential(std::string& text) {
  if (text.empty()) return "must not be empty";
  return text.size() > 32 ? "is longer than 32 characters" : "";
}

void AddLogin(CLI::App& app, Action& chosen) {
  CLI::App* login = app.add_subcommand("login", "Open a session and remember it");
  const auto options = std::make_shared<LoginOptions>();
  login
      ->add_option("--url", options->url,
                   "Base URL of the service, e.g. http://127.0.0.1:8080; remembered until another "
                   "one is given, '' goes back to the built-in one")
      ->envname("KELO_URL");
  const CLI::Validator fits(CheckCredential, "");
  login->add_option("--key", options->credentials.apiKey, "API key")
      ->envname("KELO_KEY")
      ->required()
      ->check(fits);
  login
      ->add_option("--token", options->credentials.authToken, "Authentication token of the account")
      ->envname("KELO_TOKEN")
      ->required()
      ->check(fits);
  login
      ->add_option(
          "--secret", options->credentials.secret,
          "Signing secret; better given in the environment, where no process list shows it")
      ->envname("KELO_SECRET")
      ->required()
      ->check(fits);
  login->footer(
      "The session is kept in $XDG_STATE_HOME/kelo (or ~/.local/state/kelo), readable by you "
      "alone.");
  login->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Login(host, *options); }; });
}

}  // namespace

void AddSessionCommands(CLI::App& app, Action& chosen) {
  AddLogin(app, chosen);
  CLI::App* logout = app.add_subcommand("logout", "Close the session and forget it");
  const auto forget = std::make_shared<bool>(false);
  logout->add_flag("--forget", *forget, "Only forget it here, without telling the service");
  logout->callback(
      [forget, &chosen] { chosen = [forget](Host& host) { return Logout(host, *forget); }; });
  app.add_subcommand("quota", "Show how much the account stores and may store")
      ->callback([&chosen] { chosen = Quota; });
  app.add_subcommand("extend", "Keep the session alive, and see whether it is")
      ->callback([&chosen] { chosen = Extend; });
}

}  // namespace kelo::host
