// Sends each command, again where that helps, until it succeeds or there is no use in trying.
#include "host/library/Library.h"

#include <fmt/format.h>

#include <utility>

#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// Finished item records kept by the library, in bytes: a few hundred of them.
constexpr std::uint32_t kRecordBudget = 1u << 20;

}  // namespace

Library::Library(Output& out, Persistence persistence)
    : Requests(out, persistence.verbose),
      kelo::Library(kRecordBudget),
      out_(out),
      retries_(persistence.retries) {}

std::uint32_t Library::SendOnce(std::uint32_t code, tagCommandControlInfo* record,
                                const OnProgress& progress) {
  if (IsStopped()) return kKELOResult_Aborted;
  return kelo::Library::Command(code, record, progress);
}

std::uint32_t Library::Command(std::uint32_t code, tagCommandControlInfo* record,
                               const OnProgress& progress) {
  for (Tries tries;;) {
    Take();
    const std::uint32_t result = SendOnce(code, record, progress);
    const Trouble trouble = JudgeLast(code, result);
    failureMayPass_ = trouble == Trouble::kMayHaveBeenDone;
    if (!TriesAgain(result, trouble, tries)) {
      Note(result);
      return IsStopped() && result != kKELOResult_Success ? std::uint32_t{kKELOResult_Aborted}
                                                          : result;
    }
  }
}

void Library::Note(std::uint32_t result) {
  failedDarkly_ = failedDarkly_ || result == kKELOResult_TransportFailure ||
                  result == kKELOResult_GeneralFailure;
}

Trouble Library::JudgeLast(std::uint32_t code, std::uint32_t result) {
  const std::vector<TraceLine> requests = Take();
  // The last request is the one that ended the command, if one did.
  if (!requests.empty()) return Judge(code, result, requests.back());
  if (HasHeard()) return Trouble::kNone;  // it failed here
  const Trouble trouble = Judge(code, result, {.result = result, .sent = 1});
  const bool misses = trouble != Trouble::kNone || (IsShown() && AlwaysAsks(code));
  if (misses && !std::exchange(toldOfDeafness_, true)) {
    out_.Note(
        "cannot read the library's trace: requests are not shown, and only results decide whether "
        "to try again");
  }
  return trouble;
}

bool Library::TriesAgain(std::uint32_t result, Trouble trouble, Tries& tries) {
  switch (trouble) {
    case Trouble::kMayPass:
      return PauseBeforeRetry(++tries.failed, result);
    case Trouble::kCallIdTaken:
      return ++tries.callIdsTaken <= kMaxCallIdsTaken &&
             Pause(PauseAfterTakenCallIds(tries.callIdsTaken));
    case Trouble::kSessionEnded:
      if (!reopen_ || std::exchange(tries.hasReopened, true)) return false;
      reopen_();
      return true;
    case Trouble::kNone:
    case Trouble::kMayHaveBeenDone:
      break;
  }
  return false;
}

bool Library::PauseBeforeRetry(unsigned failed, std::uint32_t result) {
  if (failed > retries_) return false;
  const std::chrono::milliseconds pause = PauseAfterFailures(failed);
  out_.Note(fmt::format("{}; trying again in {:.2g} s ({} of {})", ResultText(result),
                        std::chrono::duration<double>(pause).count(), failed, retries_));
  return Pause(pause);
}

bool Library::Pause(std::chrono::milliseconds pause) {
  std::unique_lock lock(mutex_);
  return !wake_.wait_for(lock, pause, [this] { return stopped_; });
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
