// Restores the kept session, locks the account, and loads it when a command needs it.
#include "host/commands/Host.h"

#include <utility>

#include "commandline/WrongUsage.h"
#include "host/download/Fetch.h"
#include "host/names/ResultText.h"
#include "host/upload/UploadTask.h"

namespace kelo::host {

void SetUp(Output& out, const CommonOptions& options) {
  if (options.quiet) out.BeQuiet();
  if (options.progress) out.ShowProgress();
  if (!options.logFile.empty()) out.LogTo(options.logFile);
}

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

void Host::BeginSummary(Json counts) {
  if (!output_.IsJson()) return;
  output_.BeginSummary(std::move(counts));
  sumsUp_.emplace();
}

Workers::Terms Host::WorkersTerms(unsigned most) {
  return {.most = most,
          .nursery = nursery_,
          .persistence = options_.persistence,
          .session = [this] { return kept_; },
          .reopened =
              [this](const Kept& ended) {
                const auto token = [](const Kept& kept) {
                  return FieldText(kept.session->session.token);
                };
                if (token(kept_) == token(ended)) Reopen();
                return kept_;
              }};
}

void Host::Reopen() {
  library_.Open(*kept_.credentials);
  const Kept former = kept_;
  kept_.session = {library_.Session(), kept_.credentials->signingSecret};
  State().Replace(former, kept_);
  // The library forgot the account with the session; what is sent again may need it.
  if (loaded_) library_.Load();
}

Message DoTask(Library& library, const Message& task, int file, const OnProgress& progress) {
  return (task.contains("url") ? DoDownloadTask : DoUploadTask)(library, task, file, progress);
}

void AddTransfersOption(CLI::App& command, unsigned& transfers) {
  command.add_option("--transfers", transfers, "So many at a time")
      ->check(NumberBetween(1, 64))
      ->type_name("N")
      ->capture_default_str();
}

Library& Host::Loaded(bool anew) {
  WithSession();
  if (!loaded_ || anew) library_.Load();
  loaded_ = true;
  return library_;
}

}  // namespace kelo::host
