// The commands login, logout, extend and quota, which are about the session and its account.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <optional>

#include "commandline/WrongUsage.h"
#include "host/account/Find.h"
#include "host/commands/Command.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"
#include "host/terminal/Prompt.h"

namespace kelo::host {
namespace {

struct LoginOptions {
  Credentials credentials;
  std::optional<std::string> url;
  bool remember = false;
  bool json = false;
};

// The library's fields hold 32 characters. This service has no credentials of fewer than 8, which
// the trace could not hide.
std::string CheckCredential(const std::string& text) {
  if (text.empty()) return "must not be empty";
  if (text.size() < 8) return "is shorter than 8 characters";
  if (text.find_first_of("\r\n") != std::string::npos) return "must be one line";
  return text.size() > 32 ? "is longer than 32 characters" : "";
}

struct CredentialOption {
  std::string Credentials::*field;
  const char* option;
  const char* variable;
  const char* name;
  const char* about;
  bool secret;
};
constexpr CredentialOption kCredentials[] = {
    {&Credentials::apiKey, "--key", "KELO_KEY", "API key", "API key", false},
    {&Credentials::authToken, "--token", "KELO_TOKEN", "Token",
     "Authentication token of the account", false},
    {&Credentials::signingSecret, "--secret", "KELO_SECRET", "Secret",
     "Signing secret; better typed or given in the environment, where no process list shows it",
     true},
};

// Asks for what was not given.
Credentials Completed(Credentials credentials) {
  std::string missing;
  for (const CredentialOption& one : kCredentials) {
    std::string& text = credentials.*one.field;
    if (!text.empty()) continue;
    if (!CanAsk()) {
      missing += fmt::format("{}{} (or {})", missing.empty() ? "" : ", ", one.option, one.variable);
      continue;
    }
    text = Ask(one.name, one.secret);
    const std::string fault = CheckCredential(text);
    if (!fault.empty()) throw CLI::ValidationError(one.option, fault);
  }
  if (!missing.empty())
    throw CLI::ValidationError("login", "without a terminal to ask on, give " + missing);
  return credentials;
}

int Login(Host& host, const LoginOptions& options) {
  const Credentials credentials = Completed(options.credentials);
  Kept kept;
  if (options.url) {
    kept.url = WithoutEndSlash(*options.url);  // a path follows, which begins with one
    UseServer(kept.url);
  } else {
    kept.url = host.State().Load().url;
    UseKeptServer(kept);
  }
  Library& library = host.Bare();
  library.Open(credentials);
  kept.account = AccountOf(kept.url, credentials.authToken);
  kept.session = {library.Session(), credentials.signingSecret};
  if (options.remember) kept.credentials = credentials;
  host.State().Save(kept);
  host.Out().Result("logged in", {{"url", kept.url.empty() ? Json() : Json(kept.url)},
                                  {"remembered", options.remember}});
  return 0;
}

// Removes the session even where its file cannot be read.
int Forget(Host& host) {
  Kept kept;
  try {
    kept.url = host.State().Load().url;
  } catch (const Failure&) {
  }
  host.State().Save(kept);
  host.Out().Line("the session is forgotten here; the service was not told");
  return 0;
}

int Logout(Host& host) {
  Library& library = host.WithSession();
  library.OnEndedSession({});  // it is not opened again to be closed
  try {
    library.Close();
  } catch (const Error& failure) {
    if (failure.Code() != kKELOResult_NoSession) throw;  // over already: nothing left to close
  }
  Kept kept;
  kept.url = host.Restored().url;
  host.State().Replace(host.Restored(), kept);
  host.Out().Line("logged out");
  return 0;
}

int Extend(Host& host, const JsonOption&) {
  Library& library = host.WithSession();
  const StoredSession stored = *host.Restored().session;
  library.ExtendToken(stored.session, stored.secret);
  // Extending reports nothing by itself; whether the session lives shows in the next request.
  library.Capacity();
  host.Out().Result("the session is alive", {{"alive", true}});
  return 0;
}

int Quota(Host& host, const JsonOption&) {
  host.Out().KeepResults();
  const auto [used, all] = host.WithSession().Capacity();
  const double percent =
      all == 0 ? 0 : 100.0 * static_cast<double>(used) / static_cast<double>(all);
  host.Out().Result(fmt::format("{} of {} used ({:.1f} %)", ByteText(used), ByteText(all), percent),
                    {{"usedBytes", used}, {"totalBytes", all}});
  return 0;
}

void AddLogin(CLI::App& app, Action& chosen) {
  const auto [login, options] =
      AddCommand(app, chosen, "login", "Open a session and keep it", Login);
  login
      ->add_option("--url", options->url,
                   "Base URL of the service, e.g. http://127.0.0.1:8080; remembered until another "
                   "one is given, '' goes back to the built-in one")
      ->envname("KELO_URL");
  for (const CredentialOption& one : kCredentials) {
    AddCheckedOption(*login, one.option, options->credentials.*one.field, one.about,
                     CheckCredential)
        ->envname(one.variable);
  }
  login->add_flag(
      "--remember", options->remember,
      "Keep key, token and secret too, and open a session that is over again with them");
  login->add_flag("--json", options->json, kJsonHelp);
  login->footer(
      "On a terminal, login asks for what is missing. Session and credentials are kept in "
      "$XDG_STATE_HOME/kelo (or ~/.local/state/kelo), readable by you alone; those of a --profile "
      "lie in a folder below. 'kelo logout' forgets both.");
}

}  // namespace

void AddSessionCommands(CLI::App& app, Action& chosen) {
  AddLogin(app, chosen);
  CLI::App* logout = app.add_subcommand("logout", "Close the session and forget it");
  const auto forget = std::make_shared<bool>(false);
  logout->add_flag("--forget", *forget, "Only forget it here, without telling the service");
  logout->callback([forget, &chosen] { chosen = *forget ? Forget : Logout; });
  const auto [quota, options] =
      AddCommand(app, chosen, "quota", "Show how much the account stores and may store", Quota);
  quota->add_flag("--json", options->json, kJsonHelp);
  const auto [extend, extended] = AddCommand(
      app, chosen, "extend", "Keep the session alive, and tell whether it still is", Extend);
  extend->add_flag("--json", extended->json, kJsonHelp);
}

}  // namespace kelo::host
