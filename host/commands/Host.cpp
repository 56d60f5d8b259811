// Restores the kept session, locks the account, and loads it when a command needs it.
#include "host/commands/Host.h"

#include <utility>

#include "host/names/ResultText.h"

namespace kelo::host {

void Host::Restore(Kept kept) {
  kept_ = std::move(kept);
  if (!kept_.session) throw Failure("no session: log in with 'kelo login'");
  UseKeptServer(kept_);
  library_.Restore(kept_.session->session, kept_.session->secret);
  if (kept_.credentials) library_.OnEndedSession([this] { Reopen(); });
  restored_ = true;
}

Library& Host::WithSession() {
  if (!restored_) Restore(State().Load());
  return library_;
}

void Host::LockAccount() {
  Kept kept = State().Load();
  // While it waits, a session may have been opened again, and even another account.
  for (std::string locked; kept.session && kept.account != locked; kept = State().Load()) {
    locked = kept.account;
    lock_.reset();
    lock_.emplace(output_, StateFile::LockFolder(), locked, options_.command, !options_.noWait);
  }
  Restore(std::move(kept));
}

void Host::Reopen() {
  library_.Open(*kept_.credentials);
  const Kept former = kept_;
  kept_.session = {library_.Session(), kept_.credentials->signingSecret};
  State().Replace(former, kept_);
  // The library forgot the account with the session; what is sent again may need it.
  if (loaded_) library_.Load();
}

Library& Host::Loaded() {
  WithSession();
  if (!loaded_) library_.Load();
  loaded_ = true;
  return library_;
}

}  // namespace kelo::host
