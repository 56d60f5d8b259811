// The table of commands, and the reading of failures.
#include "host/library/Retries.h"

#include <algorithm>
#include <random>

#include "KELOAccess.h"

namespace kelo::host {
namespace {

// Commands that only read, and those whose repetition changes nothing more. Not here, and so sent
// again only while nothing of them has left: what would be made twice (folders, albums, mails,
// items).
constexpr std::uint32_t kRepeatable[] = {
    kKELOCommand_OpenSession,   // a session that nobody got to know ends by itself
    kKELOCommand_CloseSession,  // the second one finds it closed
    kKELOCommand_LoadHierarchy,  kKELOCommand_GetItemInfo,        kKELOCommand_VerifyRecipient,
    kKELOCommand_GetAddressList, kKELOCommand_GetStorageCapacity, kKELOCommand_ExtendTokenLimit,
    kKELOCommand_Download,     // a file that failed left nothing at its destination
    kKELOCommand_ModifyProps,  // sets what it sets
    kKELOCommand_AddTags,      // an item has each tag once
    kKELOCommand_AddNewLink,   // an item is in an album once
};

// The code is that of a host that does not exist and of an answer like 503; only the words tell.
bool IsRefusedConnection(const Request& request) {
  return request.result == kKELOResult_TransportFailure && request.sent == 0 &&
         request.failure.starts_with("Failed to connect to ");
}

bool HasErrorCode(const Request& request, std::initializer_list<std::string_view> codes) {
  return std::ranges::find(codes, request.errcode) != codes.end();
}

}  // namespace

Trouble Judge(std::uint32_t command, std::uint32_t result, const std::vector<Request>& requests) {
  if (requests.empty()) return Trouble::kNone;
  // The last request is the one that ended the command, if one did. Its answer counts even where
  // the command's result does not tell it.
  const Request& last = requests.back();
  if (HasErrorCode(last, {"104"})) return Trouble::kCallIdTaken;
  if (HasErrorCode(last, {"107", "108"})) return Trouble::kSessionEnded;
  if (result == kKELOResult_Success || result == kKELOResult_Aborted) return Trouble::kNone;
  const bool passes = last.result == kKELOResult_ConnectionLost ||
                      last.result == kKELOResult_TimedOut || IsRefusedConnection(last);
  if (!passes) return Trouble::kNone;
  const bool repeatable = std::ranges::find(kRepeatable, command) != std::end(kRepeatable);
  return repeatable || last.sent == 0 ? Trouble::kMayPass : Trouble::kMayHaveBeenDone;
}

std::chrono::milliseconds PauseAfterTakenCallIds(unsigned taken) {
  static std::minstd_rand random{std::random_device{}()};
  return std::chrono::milliseconds(std::uniform_int_distribution(1u, 25 * taken)(random));
}

std::chrono::milliseconds PauseAfterFailures(unsigned failed) {
  constexpr std::chrono::milliseconds kMaxPause = std::chrono::seconds(30);
  std::chrono::milliseconds pause(250);
  for (unsigned at = 1; at < failed && pause < kMaxPause; ++at) pause *= 3;
  return std::min(pause, kMaxPause);
}

}  // namespace kelo::host
