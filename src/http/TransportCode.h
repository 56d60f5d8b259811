// The codes of the transport level. KELOHTTPController translates them into result codes; nothing
// above it sees them.
#pragma once

#include <cstdint>

namespace kelo {

enum TransportCode : uint32_t {
  kTransport_Success = 0,
  kTransport_Aborted = 1,                  // seen before or during the transfer
  kTransport_NotFound = 4097,              // status 404 outside a download; unknown host
  kTransport_TimedOut = 4098,              // status 408 or 504; nothing moved for too long
  kTransport_ConnectionLost = 4099,        // the connection broke
  kTransport_TooLarge = 4100,              // status 413
  kTransport_DownloadNotFound = 4101,      // download: status 404, or a malformed URL
  kTransport_DestinationExists = 4102,     // download: something stands at the destination
  kTransport_Conflict = 4103,              // known to the translation, never produced here
  kTransport_DiskFull = 4104,              // download: no space left
  kTransport_DestinationUnusable = 4106,   // download: the file cannot be created
  kTransport_UploadFileUnreadable = 4107,  // upload: a file cannot supply its declared size
  kTransport_OtherFailure = 4112           // any other status, connection error, local failure
};

}  // namespace kelo
