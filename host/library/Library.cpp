// Sends each command, again where that helps, until it succeeds or there is no use in trying.
#include "host/library/Library.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

using std::chrono::milliseconds;

// Finished item records kept by the library, in bytes: a few hundred of them.
constexpr std::uint32_t kRecordBudget = 1u << 20;

// The least time for a try, the last one within the patience.
milliseconds LastTry(milliseconds patience) {
  return std::min<milliseconds>(patience / 20, std::chrono::seconds(1));
}

// How long the question whether the service is back may go without a byte. The system tries a
// connection again after 1, 3 and 7 s, so a service that is back is noticed within 5 s.
milliseconds LongestSilence(milliseconds patience) {
  return std::min<milliseconds>(patience / 20, std::chrono::seconds(10));
}

bool MayPass(Trouble trouble) {
  return trouble == Trouble::kMayPass || trouble == Trouble::kMayHaveBeenDone;
}

// Whether the command is answered from memory.
bool NeverAsks(std::uint32_t code, const tagCommandControlInfo* record) {
  return code == kKELOCommand_GetItemInfo && record != nullptr &&
         (record->outputOptions & kKELOOption_AskService) == 0;
}

bool IsDark(std::uint32_t result) {
  return result == kKELOResult_TransportFailure || result == kKELOResult_GeneralFailure;
}

}  // namespace

thread_local Library::Attempt* Library::probe_ = nullptr;

Library::Library(Output& out, Persistence persistence, const Moments* moments)
    : Requests(out, persistence.verbose),
      kelo::Library(kRecordBudget),
      out_(out),
      persistence_(persistence),
      moments_(moments),
      outage_(persistence.Patience()),
      // Abort() would end all that the caller wants, not only this command.
      stillness_([] { KELOAccessCommand(kKELOCommand_Abort, nullptr); }) {}

std::uint32_t Library::SendOnce(std::uint32_t code, tagCommandControlInfo* record,
                                const OnProgress& progress) {
  const bool takesCallId = AlwaysAsks(code) && code != kKELOCommand_Download;
  if (moments_ != nullptr && takesCallId) moments_->Await();
  if (IsStopped()) return kKELOResult_Aborted;
  return kelo::Library::Command(code, record, progress);
}

std::uint32_t Library::Command(std::uint32_t code, tagCommandControlInfo* record,
                               const OnProgress& progress) {
  if (probe_ != nullptr) {
    *probe_ = Try(code, record, progress);
    return probe_->result;
  }
  if (NeverAsks(code, record)) return kelo::Library::Command(code, record, progress);
  for (Tries tries;;) {
    const Attempt attempt = Try(code, record, progress);
    failureMayPass_ = attempt.trouble == Trouble::kMayHaveBeenDone;
    if (attempt.answered && attempt.trouble == Trouble::kNone && !reopening_) reopened_ = 0;
    if (!TriesAgain(attempt, tries)) {
      failedDarkly_ = failedDarkly_ || IsDark(attempt.result);
      return IsStopped() && attempt.result != kKELOResult_Success
                 ? std::uint32_t{kKELOResult_Aborted}
                 : attempt.result;
    }
  }
}

Library::Attempt Library::Try(std::uint32_t code, tagCommandControlInfo* record,
                              const OnProgress& progress) {
  Take();
  auto moved = Outage::Clock::now();
  const auto watched = [&](const kelo::Progress& event) {
    moved = Outage::Clock::now();
    return progress(event);
  };
  const bool isProbe = probe_ != nullptr;
  std::optional<Stillness::Watched> limit;
  if (!persistence_.isLong)
    limit.emplace(stillness_, std::max(LastTry(outage_.Patience()), outage_.Left()));
  else if (isProbe)
    limit.emplace(stillness_, LongestSilence(outage_.Patience()));
  const std::uint32_t result = SendOnce(code, record, progress ? OnProgress(watched) : progress);
  const bool wasStill = limit && limit->WasEnded() && result == kKELOResult_Aborted;
  limit.reset();
  Attempt attempt = JudgeLast(code, result);
  if (wasStill && !IsStopped()) attempt = {kKELOResult_TimedOut, Trouble::kMayHaveBeenDone, false};
  if (code == kKELOCommand_OpenSession || code == kKELOCommand_SetSessionInfo)
    hadSession_ = hadSession_ || result == kKELOResult_Success;
  if (attempt.answered) Answered();
  if (MayPass(attempt.trouble)) outage_.Began(moved);
  if (wasStill && !isProbe) outage_.GiveUp();
  return attempt;
}

void Library::Answered() {
  if (!outage_.Answered()) return;
  out_.SetOutage(this, std::nullopt);
  { const std::lock_guard lock(mutex_); }  // nobody is about to wait
  wake_.notify_all();
}

void Library::Note(std::uint32_t result) {
  failedDarkly_ = failedDarkly_ || IsDark(result);
  if (result == kKELOResult_Success) Answered();
}

Library::Attempt Library::JudgeLast(std::uint32_t code, std::uint32_t result) {
  const std::vector<TraceLine> requests = Take();
  if (requests.empty() && HasHeard()) return {.result = result};  // it failed here
  if (!requests.empty()) {
    // The last request is the one that ended the command, if one did.
    const TraceLine& last = requests.back();
    outage_.Blame(last);
    Trouble trouble = Judge(code, result, last);
    // A name that was never found is most likely mistyped.
    if (last.cause == "unresolved" && !hadSession_) trouble = Trouble::kNone;
    const bool answered = last.status != 0 && last.cause != "proxy" && !MayPass(trouble);
    return {result, trouble, answered};
  }
  const Trouble trouble = Judge(code, result, {.result = result, .sent = 1});
  const bool misses = trouble != Trouble::kNone || (IsShown() && AlwaysAsks(code));
  if (misses && !std::exchange(toldOfDeafness_, true)) {
    out_.Note(
        "cannot read the library's trace: requests are not shown, and only results decide whether "
        "to try again");
  }
  return {result, trouble, AlwaysAsks(code) && result == kKELOResult_Success};
}

bool Library::TriesAgain(const Attempt& attempt, Tries& tries) {
  switch (attempt.trouble) {
    case Trouble::kMayPass:
      return PauseBeforeRetry(++tries.failed, attempt.result);
    case Trouble::kCallIdTaken:
      return ++tries.callIdsTaken <= kMaxCallIdsTaken &&
             Pause(PauseAfterTakenCallIds(tries.callIdsTaken));
    case Trouble::kSessionEnded:
      return Reopens();
    case Trouble::kNone:
    case Trouble::kMayHaveBeenDone:
      break;
  }
  return false;
}

// Opening a session may send more than one command, and those must not open another one.
bool Library::Reopens() {
  if (!reopen_ || reopening_ || reopened_ == kMaxReopened) return false;
  ++reopened_;
  struct Reopening {
    explicit Reopening(bool& flag) : flag_(flag) { flag_ = true; }
    ~Reopening() { flag_ = false; }
    Reopening(const Reopening&) = delete;
    Reopening& operator=(const Reopening&) = delete;
    bool& flag_;
  } const reopening(reopening_);
  reopen_();
  return true;
}

std::optional<bool> Library::ServiceAnswers() {
  Attempt attempt;
  probe_ = &attempt;
  try {
    Capacity();
  } catch (const Error&) {
    // what came of it stands in the attempt
  }
  probe_ = nullptr;
  if (attempt.answered) return true;
  return MayPass(attempt.trouble) ? std::optional(false) : std::nullopt;
}

bool Library::PauseBeforeRetry(unsigned& failed, std::uint32_t result) {
  outage_.Began(Outage::Clock::now());
  for (bool wasSilent = false;; ++failed) {
    if (persistence_.retries && failed > *persistence_.retries) return false;
    const bool asks = failed > kBlindTries;
    const auto begun = Outage::Clock::now();
    const std::optional<bool> answers = asks ? ServiceAnswers() : std::nullopt;
    if (answers.value_or(false)) {
      if (wasSilent) failed = 0;
      return wasSilent;
    }
    wasSilent = answers.has_value();
    const auto pause = PauseAfterFailures(failed, outage_.Patience());
    const auto asked = round<milliseconds>(Outage::Clock::now() - begun);
    if (!Wait(std::max(pause - asked, PauseAfterFailures(1, outage_.Patience())), result))
      return false;
    if (!wasSilent) return true;
  }
}

bool Library::Pause(milliseconds pause) {
  std::unique_lock lock(mutex_);
  return !wake_.wait_for(lock, pause, [this] { return stopped_; });
}

bool Library::Wait(milliseconds pause, std::uint32_t result) {
  const auto since = outage_.Since();
  if (!since) return !IsStopped();  // another thread has had an answer
  const auto patience = outage_.Patience();
  if (outage_.Left() < pause + LastTry(patience)) {
    outage_.GiveUp();
    return false;
  }
  const auto whole = std::chrono::ceil<std::chrono::seconds>(patience);
  out_.SetOutage(
      this, since,
      fmt::format("{}; trying again for up to {}", ResultText(result), DurationText(whole)));
  std::unique_lock lock(mutex_);
  wake_.wait_for(lock, pause, [this] { return stopped_ || !outage_.Since(); });
  return !stopped_;
}

bool Library::IsStopped() const {
  const std::lock_guard lock(mutex_);
  toldOfStop_ = toldOfStop_ || stopped_;
  return stopped_;
}

void Library::AlsoStop(std::function<void()> stop) {
  const std::lock_guard lock(mutex_);
  alsoStop_ = std::move(stop);
}

void Library::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    if (alsoStop_) alsoStop_();
  }
  wake_.notify_all();
  Abort();
}

}  // namespace kelo::host
