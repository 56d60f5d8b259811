// Translates an HTTP status or a failed connection into a transport code, and that into a result
// code.
#include "http/TransportCode.h"

#include "KELOAccess.h"
#include "platform/URLLoading.h"

namespace kelo {

TransportCode TransportCodeOfStatus(int status, bool download) {
  switch (status) {
    case 200:
      return TransportCode::Success;
    case 404:
      return download ? TransportCode::DownloadNotFound : TransportCode::NotFound;
    case 408:
    case 504:
      return TransportCode::TimedOut;
    case 413:
      return TransportCode::TooLarge;
    default:
      return TransportCode::OtherFailure;
  }
}

TransportCode TransportCodeOfURLError(std::string_view domain, int error, TransportCode before) {
  if (domain != kURLErrorDomain) return TransportCode::OtherFailure;
  switch (error) {
    case URLError::CannotFindHost:
    case URLError::DNSLookupFailed:
      return TransportCode::NotFound;
    case URLError::ConnectionLost:
      return TransportCode::ConnectionLost;
    case URLError::TimedOut:
      return TransportCode::TimedOut;
    case URLError::Cancelled:
      return before;
    default:
      return TransportCode::OtherFailure;
  }
}

uint32_t ResultOfTransport(TransportCode code) {
  switch (code) {
    case TransportCode::Success:
      return kKELOResult_Success;
    case TransportCode::Aborted:
      return kKELOResult_Aborted;
    case TransportCode::TimedOut:
      return kKELOResult_TimedOut;
    case TransportCode::ConnectionLost:
      return kKELOResult_ConnectionLost;
    case TransportCode::TooLarge:
      return kKELOResult_TooLarge;
    case TransportCode::DownloadNotFound:
    case TransportCode::UploadFileUnreadable:
      return kKELOResult_NotFound;
    case TransportCode::DestinationExists:
      return kKELOResult_AlreadyExists;
    case TransportCode::Conflict:
      return kKELOResult_Conflict;
    case TransportCode::DiskFull:
      return kKELOResult_NoSpace;
    case TransportCode::DestinationUnusable:
      return kKELOResult_DestinationUnusable;
    default:
      return kKELOResult_TransportFailure;
  }
}

}  // namespace kelo
