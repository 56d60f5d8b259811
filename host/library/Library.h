// The library as this program uses it: kelo::Library, whose commands try again and can be stopped.
// One call at a time, from any thread; Abort and Stop may come from another one.
//
// What fails by what may pass (a lost connection, a time-out, a refused connection) is sent again
// after a pause, if that can do no harm: commands that only read, downloads, edits that come to the
// same when they are done twice, and whatever never left this machine (Retries.h). Where the trace
// cannot be heard, which is said once, the result code alone decides.
//
// A few tries later the service is asked something small. If it answers, it is the command that
// fails. If it does not, this is an outage, and the service is asked again until it answers or the
// patience is over.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "KELOAccess.hpp"
#include "host/library/Moments.h"
#include "host/library/Outage.h"
#include "host/library/Requests.h"
#include "host/library/Retries.h"
#include "host/library/Stillness.h"
#include "host/terminal/Output.h"

namespace kelo::host {

// Requests is a base, so that it begins before the library and ends after it.
class Library : private Requests, public kelo::Library {
 public:
  // `moments` keeps it apart from other processes, for as long as it lives; null: there are none.
  Library(Output& out, Persistence persistence, const Moments* moments = nullptr);

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
  // this library, which forgets the catalogue. The command is then sent again. What it throws, the
  // command throws. Not called where it has helped nothing before (kMaxReopened).
  void OnEndedSession(std::function<void()> reopen) { reopen_ = std::move(reopen); }

  // The last command failed by something that may pass, and was not repeated here: it was an upload
  // that had left.
  bool FailureMayPass() const { return failureMayPass_; }
  // The `failed`-th try of such an upload ended with `result`. Pauses until the next, which may be
  // the end of an outage, and then counts from 0 again. False if there were too many tries, the
  // service answers and only this fails, the patience is over, or the library was stopped. From any
  // thread.
  bool PauseBeforeRetry(unsigned& failed, std::uint32_t result);
  // Why a failure is one of the connection: what was waited for, which proxy fails; or nothing.
  std::string Explanation() const { return outage_.Explanation(); }
  void Explain(std::string words) { outage_.Explain(std::move(words)); }

  Output& Out() { return out_; }
  // Whether some command failed in a way that only the trace explains (4114, 4144).
  bool WantsTrace() const { return failedDarkly_ && !IsShown(); }
  // Takes note of a result that a command had elsewhere.
  void Note(std::uint32_t result);

  // Where every command comes through: it is sent until there is no use in sending it again.
  std::uint32_t Command(std::uint32_t code, tagCommandControlInfo* record,
                        const OnProgress& progress = {}) override;

 private:
  // What came of sending a command once.
  struct Attempt {
    std::uint32_t result = 0;
    Trouble trouble = Trouble::kNone;
    bool answered = false;  // the service is there
  };
  // A command whose attempt is all that is wanted, of this thread.
  static thread_local Attempt* probe_;

  Attempt Try(std::uint32_t code, tagCommandControlInfo* record, const OnProgress& progress);
  std::uint32_t SendOnce(std::uint32_t code, tagCommandControlInfo* record,
                         const OnProgress& progress);
  Attempt JudgeLast(std::uint32_t code, std::uint32_t result);
  void Answered();
  bool TriesAgain(const Attempt& attempt, Tries& tries);
  bool Reopens();
  std::optional<bool> ServiceAnswers();         // nothing: it could not be asked
  bool Pause(std::chrono::milliseconds pause);  // false when the library was stopped
  // The same in an outage, whose end ends the pause; false too when the patience is over.
  bool Wait(std::chrono::milliseconds pause, std::uint32_t result);

  Output& out_;
  const Persistence persistence_;
  const Moments* const moments_;
  Outage outage_;
  std::function<void()> reopen_;
  unsigned reopened_ = 0;  // since the service answered last
  bool reopening_ = false;
  bool hadSession_ = false;  // so the name of the service was found once
  bool failureMayPass_ = false;
  bool failedDarkly_ = false;
  bool toldOfDeafness_ = false;
  mutable std::atomic<bool> toldOfStop_ = false;

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  bool stopped_ = false;
  std::function<void()> alsoStop_;
  Stillness stillness_;
};

}  // namespace kelo::host
