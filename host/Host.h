// What every command of the program works with: the stored session and the library.
#pragma once

#include <functional>
#include <string>

#include "Interrupt.h"
#include "Library.h"
#include "Output.h"
#include "StateFile.h"

namespace CLI {
class App;
}

namespace kelo::host {

// Options that every command takes.
struct CommonOptions {
  bool quiet = false;
  Persistence persistence;
};

class Host {
 public:
  explicit Host(const CommonOptions& options)
      : library_(output_, options.persistence), interrupt_(library_) {
    if (options.quiet) output_.BeQuiet();
  }

  Output& Out() { return output_; }
  // The library without a session.
  Library& Bare() { return library_; }
  // With the stored session restored. Throws Failure when there is none.
  Library& WithSession();
  // With the session and the account's hierarchy loaded, both once.
  Library& Loaded();

 private:
  Output output_;
  Library library_;
  Interrupt interrupt_;  // ends before the library closes
  bool restored_ = false;
  bool loaded_ = false;
};

// What the command line asked for: runs with the library and gives the exit code.
using Action = std::function<int(Host&)>;

// Each adds its sub-commands to the command line; parsing sets `chosen`.
void AddSessionCommands(CLI::App& app, Action& chosen);
void AddBrowseCommands(CLI::App& app, Action& chosen);
void AddGetCommand(CLI::App& app, Action& chosen);
void AddPutCommand(CLI::App& app, Action& chosen);
void AddEditCommands(CLI::App& app, Action& chosen);
void AddShareCommands(CLI::App& app, Action& chosen);
void AddDemoCommand(CLI::App& app, Action& chosen);

// The entry that a person names by id, by the word "root" (the root album) or by the name of one
// folder or album. Throws Failure when there is none, or more than one. Needs the hierarchy.
tagKELO_ItemInfo FindEntry(Library& library, const std::string& wanted);
// The same for an album that can hold items of ours; a folder is refused.
tagKELO_ItemInfo FindAlbum(Library& library, const std::string& wanted);

}  // namespace kelo::host
