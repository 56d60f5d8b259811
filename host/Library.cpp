// Builds the command records and turns results into exceptions.
#include "Library.h"

#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

// Finished item records kept by the library, in bytes: a few hundred of them.
constexpr std::uint32_t kRecordBudget = 1u << 20;

}  // namespace

Library::Library() {
  Check("start the library", KELOAccessInitialize(kRecordBudget), 0);
}

Library::~Library() {
  KELOAccessClose();
}

std::uint32_t Library::Send(std::uint32_t command, tagCommandControlInfo* info) {
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) return kKELOResult_Aborted;
    sent_.insert(command);
  }
  return KELOAccessCommand(command, info);
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
