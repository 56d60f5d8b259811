// The abort of a running command: asked for from any thread, seen by all requests of that command,
// gone when the command is over.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace kelo {

class URLLoader;

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

  // A request of the command, or a command of its own where none runs. The loader's wait is ended
  // when the signal is raised. Made before anything of the request happens, destroyed after all
  // that it leaves has been cleaned up.
  class [[nodiscard]] RequestScope {
   public:
    RequestScope(AbortSignal& signal, URLLoader& loader);
    ~RequestScope();
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;

   private:
    const CommandScope command_;
    AbortSignal& signal_;
  };

  // Whether the running command is to end. Any thread.
  bool IsRaised() const { return raised_; }

  // Ends the running command. Returns when the request that is under way, if any, has ended; at
  // once on the command's own thread, from inside an event. Nothing happens while no command runs.
  // Any thread.
  void Raise();

 private:
  // The lock orders beginnings and ends against Raise; it is never held while anything else
  // happens.
  std::mutex lock_;
  std::condition_variable requestEnded_;
  int scopes_ = 0;
  std::thread::id thread_;       // of the command
  URLLoader* loader_ = nullptr;  // of the request under way
  uint64_t requestsEnded_ = 0;
  std::atomic<bool> raised_ = false;
};

}  // namespace kelo
