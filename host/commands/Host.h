// What every command of the program works with: the stored session and the library.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/library/AccountLock.h"
#include "host/library/Interrupt.h"
#include "host/library/Library.h"
#include "host/library/StateFile.h"
#include "host/terminal/Output.h"
#include "host/workers/Workers.h"

namespace CLI {
class App;
}

namespace kelo::host {

// Options that every command takes.
struct CommonOptions {
  bool quiet = false;
  bool progress = false;  // also where there is no terminal
  std::string logFile;    // empty: none
  Persistence persistence;
  std::string profile;  // whose session; empty: the one without a name
  bool noWait = false;  // for another run that changes the account
  std::string command;  // the one that runs
};

// As the options say. Throws Failure.
void SetUp(Output& out, const CommonOptions& options);

class Host {
 public:
  // `nursery` makes the workers; null: there are none.
  explicit Host(const CommonOptions& options, Nursery* nursery = nullptr)
      : options_(options),
        nursery_(nursery),
        library_(output_, options.persistence),
        interrupt_(library_) {
    SetUp(output_, options);
  }

  Output& Out() { return output_; }
  // What is kept of the profile. Throws Failure where there is no home folder.
  StateFile State() const { return StateFile::OfProfile(options_.profile); }
  // The library without a session.
  Library& Bare() { return library_; }
  // With the stored session restored, and opened again when it turns out to be over and the
  // credentials are kept. Throws Failure when there is none.
  Library& WithSession();
  // With the session and the account's hierarchy loaded, both once; or the account `anew`.
  Library& Loaded(bool anew = false);
  // The session is restored, and no other run changes its account while this one lives. To be
  // called before anything of the account is looked at. Throws Failure.
  void LockAccount();
  // What was restored.
  const Kept& Restored() const { return kept_; }
  // The results in JSON end with a summary that begins with these counts (Output.h), also after
  // Ctrl-C.
  void BeginSummary(Json counts);
  // Of workers that use the session that is restored, so many at a time.
  Workers::Terms WorkersTerms(unsigned most);

 private:
  void Restore(Kept kept);
  void Reopen();

  const CommonOptions options_;
  Nursery* const nursery_;
  Output output_;
  Library library_;
  Interrupt interrupt_;  // ends before the library closes
  std::optional<AccountLock> lock_;
  std::optional<MustTidy> sumsUp_;  // with a summary
  Kept kept_;
  bool restored_ = false;
  bool loaded_ = false;
};

// What workers do for get and put.
Message DoTask(Library& library, const Message& task, int file, const OnProgress& progress);

// How many files get transfers at a time, and how many requests put.
constexpr unsigned kTransfers = 4;
void AddTransfersOption(CLI::App& command, unsigned& transfers);

// The help of the option --json.
constexpr const char* kJsonHelp = "Tell the results in JSON, one object a line";

// What the command line asked for: runs with the library and gives the exit code.
using Action = std::function<int(Host&)>;

// Each adds its sub-commands to the command line; parsing sets `chosen`.
void AddSessionCommands(CLI::App& app, Action& chosen);
void AddBrowseCommands(CLI::App& app, Action& chosen);
void AddGetCommand(CLI::App& app, Action& chosen);
void AddPutCommand(CLI::App& app, Action& chosen);
void AddCheckCommand(CLI::App& app, Action& chosen);
void AddEditCommands(CLI::App& app, Action& chosen);
void AddCreateCommands(CLI::App& app, Action& chosen);
void AddShareCommands(CLI::App& app, Action& chosen);
// The command starts another program in the place of this one, once the line is read; where it
// cannot, parsing throws Failure.
void AddDemoCommand(CLI::App& app, const CommonOptions& options);

}  // namespace kelo::host
