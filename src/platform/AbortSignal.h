// The abort of a running command: asked for from any thread, seen by all requests of that command,
// gone when the command is over.
//
// There is no lock in it: a process that is forked off while one is held would inherit it locked
// for ever.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace kelo {

// Thrown by AbortSignal::Check; the command's result is then kKELOResult_Aborted.
struct CommandAborted {};

class AbortSignal {
 public:
  AbortSignal() = default;
  AbortSignal(const AbortSignal&) = delete;
  AbortSignal& operator=(const AbortSignal&) = delete;

  // A command on the thread that makes it. Scopes may lie in each other: the outermost counts.
  class [[nodiscard]] CommandScope {
   public:
    explicit CommandScope(AbortSignal& signal);
    ~CommandScope();
    CommandScope(const CommandScope&) = delete;
    CommandScope& operator=(const CommandScope&) = delete;

   private:
    AbortSignal& signal_;
  };

  // A request of the command, or a command of its own where none runs. Made before anything of the
  // request happens, destroyed after all that it leaves has been cleaned up.
  class [[nodiscard]] RequestScope {
   public:
    explicit RequestScope(AbortSignal& signal);
    ~RequestScope();
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;

   private:
    const CommandScope command_;
    AbortSignal& signal_;
  };

  // Whether the running command is to end: looked at in each slice of a wait. Any thread.
  bool IsRaised() const { return raisedFor_ == command_; }

  // For work on the catalogue: throws CommandAborted.
  void Check() const {
    if (IsRaised()) throw CommandAborted();
  }

  // Ends the running command. Returns when the request that is under way, if any, has ended; at
  // once on the command's own thread, from inside an event. Nothing happens while no command runs.
  // Any thread.
  void Raise();

  // Whether this process was forked off while a command ran on another thread. That thread is not
  // here, so nobody will end the command.
  bool IsLeftUnfinished() const;

 private:
  int scopes_ = 0;                         // used by the command's thread alone
  std::atomic<uint64_t> command_ = 2;      // count of beginnings and ends: odd while one runs
  std::atomic<uint64_t> raisedFor_ = 0;    // the last command that was to end
  std::atomic<uint32_t> request_ = 0;      // like command_
  std::atomic<std::thread::id> thread_{};  // of the command, like its process
  std::atomic<pid_t> process_ = 0;
};

}  // namespace kelo
