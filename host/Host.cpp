// Restoring the session, and the account with it.
#include "host/Host.h"

namespace kelo::host {

Library& Host::WithSession() {
  if (!restored_) {
    const StateFile state = State();
    state.ApplyUrl();
    const StoredSession stored = state.Load();
    library_.Restore(stored.session, stored.secret);
    if (const auto credentials = state.Remembered())
      library_.OnEndedSession([this, credentials] { Reopen(*credentials); });
    restored_ = true;
  }
  return library_;
}

void Host::Reopen(const Credentials& credentials) {
  library_.Open(credentials);
  State().Save({library_.Session(), credentials.signingSecret});
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
