// URL loading as events: a request, a connection that performs it, a delegate that hears about it,
// and the run-loop slice in which all of that happens.
//
// Threads: a loader, its connections and its delegates belong to one thread at a time; every event
// arrives inside RunSlice on the thread that called it.
//
// Only http and https are loaded. The request line has the URL's path and query byte for byte, also
// dots and an empty query, without the fragment; "/" stands for a missing path. For http, a proxy
// gets scheme, host and port in front of it. A GET follows up to 10 redirects, never from https to
// http and never to another scheme; other methods see a redirect as an ordinary status, and an
// empty Location is none. A Location is sent likewise, but blanks, control characters and bytes
// beyond ASCII are percent-encoded. A relative one is resolved as in RFC 3986, except that only
// dots at its beginning are resolved. Certificates are verified. A request whose body began to
// travel is never repeated. Proxies come from the environment, except in a program with more rights
// than its caller.
//
// A failure ends with its request: the next one then begins with new handles and connections.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kelo {

// The error domain of URL loading, and those of its codes that anyone tells apart.
inline constexpr std::string_view kURLErrorDomain = "NSURLErrorDomain";
struct URLError {
  enum Code : int {
    ProxyFailure = 310,  // a proxy answered, and did not open the way
    Unknown = -1,        // also a URL that is none
    Cancelled = -999,
    TimedOut = -1001,
    CannotFindHost = -1003,
    CannotConnectToHost = -1004,
    ConnectionLost = -1005,
    DNSLookupFailed = -1006,
    NoWayToHost = -1009,  // for another reason than a refusal of the host's
    RedirectRefused = -1010,
    CannotDecode = -1016,  // the body's encoding
    CannotParse = -1017,   // no HTTP
    TooLong = -1103,       // the answer
    SecureConnectionFailed = -1200
  };
};

// A body that lies in a file: `length` bytes from its beginning, read by position. The descriptor
// stays the caller's and must stay open while the connection lives.
struct URLFileBody {
  int descriptor = -1;
  uint64_t length = 0;
};

// No body, bytes that must stay where they are while the connection lives, or a file.
using URLBody = std::variant<std::monostate, std::string_view, URLFileBody>;

struct URLHeader {
  std::string name;
  std::string value;  // may be empty: the header is then sent with an empty value
};

struct URLRequest {
  std::string method = "GET";
  std::string url;
  // Seconds without any movement after which the request has timed out. After the last byte of a
  // body 180 seconds are added for each GiB of it.
  uint32_t timeout = 60;
  // Sent as they are, each once. Without an "Accept-Encoding" among them answers may travel
  // compressed and arrive decoded.
  std::vector<URLHeader> headers;
  URLBody body;
  bool freshConnection = false;  // never over a connection that served before
};

// What a request spends its time on: looking the name up, connecting (with TLS and a proxy's
// tunnel), sending, waiting for the first byte of the answer, receiving it.
inline constexpr size_t kURLPhases = 5;
using URLPhases = std::array<std::chrono::milliseconds, kURLPhases>;

// What became of a request so far, over all its redirects.
struct URLTransferInfo {
  uint64_t sent = 0;      // bytes, heads included; 0 while only a way is made for it
  uint64_t received = 0;  // likewise
  int status = 0;         // of the last answer, also a proxy's own; 0: none
  bool reused = false;    // it went over a connection that had served before
  bool proxied = false;   // it was to go through a proxy
  int error = 0;          // the URLError of a failure; 0: none
  std::string failure;    // the engine's words; empty: none
  URLPhases phases{};
};

// Hears what happens to one connection: a response, data any number of times, and then either the
// end or a failure; or a failure at any time. Nothing after Cancel. An event may throw: the
// connection has then ended and the exception goes on from RunSlice.
class URLConnectionDelegate {
 public:
  virtual void DidReceiveResponse(int status, std::optional<uint64_t> contentLength) = 0;
  virtual void DidReceiveData(std::string_view data) = 0;
  virtual void DidFinishLoading() = 0;
  virtual void DidFailWithError(std::string_view domain, int code) = 0;

 protected:
  ~URLConnectionDelegate() = default;
};

// One request under way; gives it up at the end of its life.
class URLConnection {
 public:
  virtual ~URLConnection() = default;
  // Gives the request up, also from inside an event: no event follows.
  virtual void Cancel() = 0;
  // Bytes of the body that have left.
  virtual uint64_t BodyBytesSent() const { return 0; }
  virtual URLTransferInfo Info() const { return {}; }
};

// Performs connections, one at a time, and keeps idle network connections for the next ones: those
// of a process for itself, never for one that it forks.
class URLLoader {
 public:
  virtual ~URLLoader() = default;
  // Begins a request. The delegate must outlive the connection, the connection must not outlive
  // the loader. Throws std::bad_alloc when memory runs out, which the next request doesn't
  // remember.
  virtual std::unique_ptr<URLConnection> Start(const URLRequest& request,
                                               URLConnectionDelegate& delegate) = 0;
  // Delivers what has happened; waits for it at most so long.
  virtual void RunSlice(std::chrono::milliseconds slice) = 0;
};

// The engine. Throws std::bad_alloc when it cannot be set up.
std::unique_ptr<URLLoader> MakeURLLoader();

// Whether a URL can be formed from the text, whatever its scheme.
bool IsWellFormedURL(std::string_view text);

}  // namespace kelo
