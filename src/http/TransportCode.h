// The codes of the transport level, and where each comes from. Only the transport sees them: the
// last function here turns them into result codes.
#pragma once

#include <cstdint>
#include <string_view>

namespace kelo {

enum class TransportCode : uint32_t {
  Success = 0,
  Aborted = 1,                  // seen before or during the transfer
  NotFound = 4097,              // status 404 outside a download; unknown host
  TimedOut = 4098,              // status 408 or 504; nothing moved for too long
  ConnectionLost = 4099,        // the connection broke
  TooLarge = 4100,              // status 413
  DownloadNotFound = 4101,      // download: status 404, or a malformed URL
  DestinationExists = 4102,     // download: something stands at the destination
  Conflict = 4103,              // known to the translation, never produced here
  DiskFull = 4104,              // download: no space left
  DestinationUnusable = 4106,   // download: the file cannot be created
  UploadFileUnreadable = 4107,  // upload: a file cannot supply its declared size
  OtherFailure = 4112           // any other status, connection error, local failure
};

TransportCode TransportCodeOfStatus(int status, bool download);

// The code of a failed connection (see URLLoading.h); nothing but `before` for a cancelled one.
TransportCode TransportCodeOfURLError(std::string_view domain, int error, TransportCode before);

// The result code that hosts see.
uint32_t ResultOfTransport(TransportCode code);

}  // namespace kelo
