// From codes to words of closed lists. No text of a library or of a peer has a part in it.
#include "controller/RequestCause.h"

#include "KELOAccess.h"
#include "protocol/ServiceAnswer.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

RequestCause CauseOfError(const URLTransferInfo& transfer) {
  switch (transfer.error) {
    case kURLError_CannotFindHost:
    case kURLError_DNSLookupFailed:
      return {"unresolved", {}};
    case kURLError_NoWayToHost:
      return {"unreachable", {}};
    case kURLError_CannotConnectToHost:
      return {"refused", {}};
    case kURLError_SecureConnectionFailed:
      return {"tls", {}};
    case kURLError_ProxyFailure:
      return {"proxy", {}};
    case kURLError_ConnectionLost:
      return {"lost", {}};
    case kURLError_TimedOut:
      return {"silent", {}};
    case kURLError_CannotParse:
      return {"unusable", "http"};
    case kURLError_TooLong:
      return {"unusable", "size"};
    case kURLError_CannotDecode:
      return {"unusable", "encoding"};
    case kURLError_TooManyRedirects:
    case kURLError_RedirectRefused:
      return {"unusable", "redirect"};
    default:
      return {"local", {}};
  }
}

RequestCause CauseOfAnswer(std::string_view answer) {
  if (ResultOfAnswer(answer) == kKELOResult_Success) return {};
  if (!FindAttribute(answer, "stat")) return {"unusable", "stat"};
  if (!FindAttribute(answer, "errcode")) return {"unusable", "errcode"};
  return {"service", {}};
}

}  // namespace

RequestCause CauseOf(uint32_t transport, const URLTransferInfo& transfer,
                     const std::string* answer) {
  constexpr int kProxyWantsToKnowWhoAsks = 407;  // no other server answers that
  if (transport == kKELOResult_Aborted) return {"aborted", {}};
  if (transfer.error != 0) return CauseOfError(transfer);
  if (transport == kKELOResult_Success)
    return answer == nullptr ? RequestCause() : CauseOfAnswer(*answer);
  if (transfer.status == kProxyWantsToKnowWhoAsks && transfer.proxied) return {"proxy", {}};
  if (transfer.status != 0 && transfer.status != 200) return {"status", {}};
  return {"local", {}};
}

}  // namespace kelo
