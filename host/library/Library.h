// The library as this program uses it: kelo::Library, whose commands try again and can be stopped.
// Calls come from one thread; Abort and Stop may come from another one.
//
// What fails by what may pass (a lost connection, a time-out, a refused connection) is sent again
// after a pause, if that can do no harm: commands that only read, downloads, edits that come to the
// same when they are done twice, and whatever never left this machine (Retries.h). Where the trace
// cannot be heard, which is said once, the result code alone decides.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "KELOAccess.hpp"
#include "host/library/Requests.h"
#include "host/library/Retries.h"
#include "host/terminal/Output.h"

namespace kelo::host {

struct Persistence {
  unsigned retries = 3;
  bool verbose = false;  // shows the requests on standard error
};

// Requests is a base, so that it begins before the library and ends after it.
class Library : private Requests, public kelo::Library {
 public:
  Library(Output& out, Persistence persistence);

  // Ends the command that runs now, if any, and returns when it has ended; every later command
  // fails as aborted. From another thread.
  void Stop();
  // Whoever asks knows of it from then on.
  bool IsStopped() const;
  bool HasToldOfStop() const { return toldOfStop_; }
  // What else ends with it; null: nothing. Called by the thread that stops it, which waits for
  // that.
  void AlsoStop(std::function<void()> stop);

  // Called when a command meets an ended session (4116): it is to open or restore another one with
  // this library, which forgets the catalogue. The command is then sent again, once. What it
  // throws, the command throws.
  void OnEndedSession(std::function<void()> reopen) { reopen_ = std::move(reopen); }

  // An upload that has left is not repeated here. FailureMayPass: the last command failed by
  // something that may pass, and was not repeated. PauseBeforeRetry: notes that the `failed`-th try
  // ended with `result`, and pauses before the next; false if there were too many tries, or the
  // library was stopped.
  bool FailureMayPass() const { return failureMayPass_; }
  bool PauseBeforeRetry(unsigned failed, std::uint32_t result);

  Output& Out() { return out_; }
  // Whether some command failed in a way that only the trace explains (4114, 4144).
  bool WantsTrace() const { return failedDarkly_ && !IsShown(); }
  // Takes note of a result that a command had elsewhere.
  void Note(std::uint32_t result);

  // Where every command comes through: it is sent until there is no use in sending it again.
  std::uint32_t Command(std::uint32_t code, tagCommandControlInfo* record,
                        const OnProgress& progress = {}) override;

 private:
  std::uint32_t SendOnce(std::uint32_t code, tagCommandControlInfo* record,
                         const OnProgress& progress);
  Trouble JudgeLast(std::uint32_t code, std::uint32_t result);
  bool TriesAgain(std::uint32_t result, Trouble trouble, Tries& tries);
  bool Pause(std::chrono::milliseconds pause);  // false when the library was stopped

  Output& out_;
  const unsigned retries_;
  std::function<void()> reopen_;
  bool failureMayPass_ = false;
  bool failedDarkly_ = false;
  bool toldOfDeafness_ = false;
  mutable std::atomic<bool> toldOfStop_ = false;

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  bool stopped_ = false;
  std::function<void()> alsoStop_;
};

}  // namespace kelo::host
