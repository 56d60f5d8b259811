// Builds the command records and turns results into exceptions.
#include "Library.h"

#include <fmt/format.h>

#include <utility>

#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

// Finished item records kept by the library, in bytes: a few hundred of them.
constexpr std::uint32_t kRecordBudget = 1u << 20;

}  // namespace

Library::Library(Output& out, Persistence persistence)
    : out_(out), requests_(out, persistence.verbose), retries_(persistence.retries) {
  Check("start the library", KELOAccessInitialize(kRecordBudget), 0);
}

Library::~Library() {
  KELOAccessClose();
}

std::uint32_t Library::SendOnce(std::uint32_t command, tagCommandControlInfo* info) {
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) return kKELOResult_Aborted;
    sent_.insert(command);
  }
  return KELOAccessCommand(command, info);
}

std::uint32_t Library::Send(std::uint32_t command, tagCommandControlInfo* info) {
  return Persist(
      command, [=, this](Tries&) { return SendOnce(command, info); });
}

std::uint32_t Library::Persist(std::uint32_t command,
                               const std::function<std::uint32_t(Tries& tries)>& send) {
  for (Tries tries;;) {
    requests_.Take();
    const std::uint32_t result = send(tries);
    const Trouble trouble = Judge(command, result, requests_.Take());
    failureMayPass_ = trouble == Trouble::kMayHaveBeenDone;
    if (!TriesAgain(result, trouble, tries)) {
      failedDarkly_ = failedDarkly_ || result == kKELOResult_TransportFailure ||
                      result == kKELOResult_GeneralFailure;
      if (!IsStopped() || result == kKELOResult_Success) return result;
      toldOfStop_ = true;
      return kKELOResult_Aborted;
    }
  }
}

bool Library::TriesAgain(std::uint32_t result, Trouble trouble, Tries& tries) {
  switch (trouble) {
    case Trouble::kMayPass:
      return PauseBeforeRetry(++tries.failed, result);
    case Trouble::kCallIdTaken:
      return ++tries.callIdsTaken <= kMostCallIdsTaken && Pause(PauseAfterTakenCallId());
    case Trouble::kSessionEnded:
      if (!reopen_) return false;
      std::exchange(reopen_, nullptr)();
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
  return stopped_;
}

void Library::AbortRunning() {
  {
    const std::lock_guard lock(mutex_);
    sent_.insert(kKELOCommand_Abort);
  }
  KELOAccessCommand(kKELOCommand_Abort, nullptr);
}

void Library::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  wake_.notify_all();
  AbortRunning();
}

std::set<std::uint32_t> Library::SentCommands() const {
  const std::lock_guard lock(mutex_);
  return sent_;
}

void Library::OpenSession(const Credentials& credentials) {
  tagKELO_OpenSessionInfo block{};
  tagCommandControlInfo info = Record(&block);
  CopyText(info.apiKey, credentials.apiKey);
  CopyText(info.authToken, credentials.authToken);
  CopyText(info.signingSecret, credentials.secret);
  Check("open the session", Send(kKELOCommand_OpenSession, &info), kKELOCommand_OpenSession);
}

void Library::CloseSession() {
  Check("close the session", Send(kKELOCommand_CloseSession, nullptr), kKELOCommand_CloseSession);
}

tagKELO_SessionInfo Library::Session() {
  tagKELO_SessionInfo session{};
  tagCommandControlInfo info = Record(&session);
  Check("read the session", Send(kKELOCommand_GetSessionInfo, &info), kKELOCommand_GetSessionInfo);
  return session;
}

void Library::SetSession(tagKELO_SessionInfo session, const std::string& secret) {
  tagCommandControlInfo info = Record(&session);
  CopyText(info.signingSecret, secret);
  Check("restore the session", Send(kKELOCommand_SetSessionInfo, &info),
        kKELOCommand_SetSessionInfo);
}

void Library::ExtendToken(tagKELO_SessionInfo session, const std::string& secret) {
  tagCommandControlInfo info = Record(&session);
  CopyText(info.signingSecret, secret);
  Check("extend the session", Send(kKELOCommand_ExtendTokenLimit, &info),
        kKELOCommand_ExtendTokenLimit);
}

tagKELO_StorageCapacityInfo Library::Capacity() {
  tagKELO_StorageCapacityInfo capacity{};
  tagCommandControlInfo info = Record(&capacity);
  constexpr auto kCommand = kKELOCommand_GetStorageCapacity;
  Check("ask for the storage", Send(kCommand, &info), kCommand);
  // What the service refuses stands only in the record.
  Check("ask for the storage", capacity.result, kCommand);
  return capacity;
}

void Library::LoadHierarchy() {
  Check("load the account", Send(kKELOCommand_LoadHierarchy, nullptr), kKELOCommand_LoadHierarchy);
}

std::uint32_t Library::Count(std::string_view target, std::uint32_t kinds) {
  std::uint32_t count = 0;
  tagCommandControlInfo info = Targeted(target, &count);
  info.selectionFlags = kinds;
  Check("count the items", Send(kKELOCommand_GetItemsCount, &info), kKELOCommand_GetItemsCount);
  return count;
}

std::vector<tagKELO_ItemInfo> Library::List(std::string_view target, std::uint32_t kinds) {
  std::vector<tagKELO_ItemInfo> items(Count(target, kinds));
  if (items.empty()) return items;
  tagCommandControlInfo info =
      Targeted(target, items.data(), static_cast<std::uint32_t>(items.size()));
  info.selectionFlags = kinds;
  Check("list the items", Send(kKELOCommand_GetItemsList, &info), kKELOCommand_GetItemsList);
  return items;
}

tagKELO_ItemInfo Library::Info(std::string_view id, bool fresh) {
  tagKELO_ItemInfo item{};
  tagCommandControlInfo info = Targeted(id, &item);
  if (fresh) info.outputOptions = kKELOOption_AskService;
  Check("show the item", Send(kKELOCommand_GetItemInfo, &info), kKELOCommand_GetItemInfo);
  return item;
}

}  // namespace kelo::host
