// Decides by tables whether a failed command is sent again, and after which pause.
#include "host/library/Retries.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <string_view>

#include "KELOAccess.h"

namespace kelo::host {
namespace {

// What a cause in the trace means. The number is the HTTP status, the service's error or, where the
// trace told no cause, the result. What has no row would fail again.
struct CauseRow {
  std::string_view cause;
  std::uint32_t number;  // 0: any
  Trouble trouble;
};
constexpr CauseRow kCauses[] = {
    {"unresolved", 0, Trouble::kMayPass},  // once it was found; else it is mistyped (Library.cpp)
    {"refused", 0, Trouble::kMayPass},
    {"unreachable", 0, Trouble::kMayPass},
    {"lost", 0, Trouble::kMayHaveBeenDone},
    {"silent", 0, Trouble::kMayHaveBeenDone},
    {"status", 408, Trouble::kMayHaveBeenDone},
    {"status", 429, Trouble::kMayHaveBeenDone},
    // What stands in front of a service that is just being started again.
    {"status", 502, Trouble::kMayHaveBeenDone},
    {"status", 503, Trouble::kMayHaveBeenDone},
    {"status", 504, Trouble::kMayHaveBeenDone},
    {"service", 104, Trouble::kCallIdTaken},
    {"service", 107, Trouble::kSessionEnded},
    {"service", 108, Trouble::kSessionEnded},
    {"", kKELOResult_NoSession, Trouble::kSessionEnded},
    {"", kKELOResult_TransportFailure, Trouble::kMayHaveBeenDone},
    {"", kKELOResult_TimedOut, Trouble::kMayHaveBeenDone},
    {"", kKELOResult_ConnectionLost, Trouble::kMayHaveBeenDone},
    {"", kKELOResult_GeneralFailure, Trouble::kMayHaveBeenDone},
};

// The commands that ask the service, and whether what they do may be done twice. An upload that may
// have been done goes on with the duplicate check (upload/Send.h).
enum class Twice { kHarmless, kNever };
struct RetryRow {
  std::uint32_t command;
  Twice twice;
};
constexpr RetryRow kCommands[] = {
    {kKELOCommand_OpenSession, Twice::kHarmless},   // one that nobody got to know ends by itself
    {kKELOCommand_CloseSession, Twice::kHarmless},  // the second one finds it closed
    {kKELOCommand_LoadHierarchy, Twice::kHarmless},
    {kKELOCommand_GetItemInfo, Twice::kHarmless},
    {kKELOCommand_AddItems, Twice::kNever},
    {kKELOCommand_AddNewLink, Twice::kHarmless},  // an item is in an album once
    {kKELOCommand_Upload, Twice::kNever},
    {kKELOCommand_VerifyRecipient, Twice::kHarmless},
    {kKELOCommand_GetAddressList, Twice::kHarmless},
    {kKELOCommand_SendPictureMail, Twice::kNever},
    {kKELOCommand_GetStorageCapacity, Twice::kHarmless},
    {kKELOCommand_ModifyProps, Twice::kHarmless},  // sets what it sets
    {kKELOCommand_ExtendTokenLimit, Twice::kHarmless},
    {kKELOCommand_AddTags, Twice::kHarmless},   // an item has each tag once
    {kKELOCommand_Download, Twice::kHarmless},  // one that failed left nothing at its destination
};

const RetryRow* Find(std::uint32_t command) {
  const auto row = std::ranges::find(kCommands, command, &RetryRow::command);
  return row == std::end(kCommands) ? nullptr : row;
}

std::uint32_t NumberOf(const TraceLine& request) {
  if (request.cause == "status") return request.status;
  if (request.cause == "service") return request.errcode;
  return request.cause.empty() ? request.result : 0;
}

}  // namespace

Trouble Judge(std::uint32_t command, std::uint32_t result, const TraceLine& last) {
  const auto row = std::ranges::find_if(kCauses, [&last](const CauseRow& one) {
    return one.cause == last.cause && (one.number == 0 || one.number == NumberOf(last));
  });
  if (row == std::end(kCauses)) return Trouble::kNone;
  // The service's word on the call id and the session counts whatever the result is.
  const bool isOfRequest =
      row->trouble == Trouble::kMayPass || row->trouble == Trouble::kMayHaveBeenDone;
  if (isOfRequest && (result == kKELOResult_Success || result == kKELOResult_Aborted))
    return Trouble::kNone;
  if (row->trouble != Trouble::kMayHaveBeenDone) return row->trouble;
  const RetryRow* known = Find(command);
  const bool isHarmless = known != nullptr && known->twice == Twice::kHarmless;
  return isHarmless || last.sent == 0 ? Trouble::kMayPass : Trouble::kMayHaveBeenDone;
}

bool IsUnclear(std::uint32_t result) {
  constexpr std::uint32_t kUnclear[] = {kKELOResult_TransportFailure, kKELOResult_TimedOut,
                                        kKELOResult_ConnectionLost, kKELOResult_GeneralFailure};
  return std::ranges::find(kUnclear, result) != std::end(kUnclear);
}

bool AlwaysAsks(std::uint32_t command) {
  return Find(command) != nullptr && command != kKELOCommand_GetItemInfo;
}

std::chrono::milliseconds PauseAfterTakenCallIds(unsigned taken) {
  static std::minstd_rand random{std::random_device{}()};
  constexpr unsigned kMax = 800;
  return std::chrono::milliseconds(
      std::uniform_int_distribution(1u, taken < 10 ? 1u << taken : kMax)(random));
}

std::chrono::milliseconds PauseAfterFailures(unsigned failed, std::chrono::milliseconds patience) {
  const auto most = std::min<std::chrono::milliseconds>(std::chrono::seconds(5), patience / 8);
  std::chrono::milliseconds pause(250);
  for (unsigned at = 1; at < failed && pause < most; ++at) pause *= 3;
  return std::min(pause, most);
}

}  // namespace kelo::host
