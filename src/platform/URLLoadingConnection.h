// One request over libcurl: its options, its callbacks, its redirects, its events and its end.
// Included by the URLLoading sources only.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "platform/SilenceWatch.h"
#include "platform/URLLoading.h"
#include "platform/URLLoadingCurl.h"

namespace kelo {

class CurlConnection;

// What a loader keeps from request to request.
struct CurlHandles {
  // For a process that was forked off. The connections are the parent's, and closing them properly
  // would end them for the parent too. So this closes their descriptors, in this process alone.
  // False in the process that made them.
  bool CloseInherited();

  pid_t process = getpid();
  CurlSockets sockets;            // outlives the handles, which report to it
  std::shared_ptr<CURLSH> share;  // TLS sessions
  CurlMulti multi;                // open connections and looked-up names
  bool suspect = false;  // a transfer did not end well: the next one begins with a new multi handle
  CurlConnection* current = nullptr;  // the request under way
};

// One request and its answer: the first, and one more for each redirect that is followed. Its
// handle is new, since a used one cannot be brought back to a known state. What libcurl points to
// stays in place until the handle is freed.
struct CurlHop {
  using Clock = std::chrono::steady_clock;

  CurlConnection* owner;                  // null when it was given up
  CurlMulti multi;                        // only when it was given up: the one that it is in
  const pid_t process = getpid();         // that has the thread of its lookup
  const std::shared_ptr<CURLSH> share{};  // outlives the handle
  CurlList headers{};
  CurlEasy easy{curl_easy_init()};
  SilenceWatch watch;
  bool attached = false;       // the handle is in the multi handle
  bool mayLookUp = true;       // a name
  bool lookupRefused = false;  // since there were too many
  bool lookingUp = false;      // libcurl has begun a lookup, and there is no socket yet
  size_t headBytes = 0;        // of all heads and trailers of the answer
  bool headComplete = false;
  bool responded = false;
  bool redirecting = false;
  bool repeatRefused = false;
  int attempts = 0;
  bool reused = false;  // travels over a connection that had served before
  uint64_t bodyRead = 0;
  curl_socket_t socket = CURL_SOCKET_BAD;  // over which the request travels
  std::array<char, CURL_ERROR_SIZE> words{};
  bool headTooLong = false;
  bool proxied = false;
  // When it came so far; the epoch: it has not.
  Clock::time_point begun = Clock::now();
  Clock::time_point sendingBegan{};
  Clock::time_point bodyLeft{};
  Clock::time_point answerBegan{};
};

// libcurl cannot end a name lookup: that of a request which is given up goes on, on a thread of its
// own, until the system's resolver is done with it. So such a request is kept, with its multi
// handle, until libcurl says that it has ended, and a limited number of them at a time. Both: any
// thread.
void KeepGivenUpLookup(std::unique_ptr<CurlHop> hop);
// Whether another lookup may begin.
bool MayLookUp();

class CurlConnection final : public URLConnection {
 public:
  CurlConnection(CurlHandles& handles, const URLRequest& request, URLConnectionDelegate& delegate);
  CurlConnection(const CurlConnection&) = delete;
  CurlConnection& operator=(const CurlConnection&) = delete;
  ~CurlConnection() override;

  void Cancel() override;
  uint64_t BodyBytesSent() const override;
  URLTransferInfo Info() const override;
  // One slice: moves the transfer on, delivers events, and waits if nothing ended it.
  void Advance(std::chrono::milliseconds slice);

 private:
  void BeginHop();
  // Hands it to libcurl; false while it must wait for its lookup.
  bool AttachHop();
  void SetOptions();
  void SetMethodAndBody();
  CurlList MakeHeaders() const;
  bool HasHeader(std::string_view name) const;
  bool HeadersAreSendable() const;

  void FinishHop(CURLcode code);
  void FollowRedirect();
  void Fail(int code, std::string words);
  void Respond();
  void Detach();
  bool IsSilentTooLong();
  int ErrorOf(CURLcode code) const;
  void AddPhases(URLPhases& phases) const;

  size_t OnHeaderLine(std::string_view line);
  size_t OnData(const char* data, size_t size);
  size_t OnBodyWanted(char* buffer, size_t size);
  int OnRewind(curl_off_t offset);
  int OnSendingBegins(int localPort);

  int OnSocketOpened(curl_socket_t socket);

  static int LookupCallback(void*, void*, void* hop);
  static int SocketCallback(void* hop, curl_socket_t socket, curlsocktype);
  static size_t HeaderCallback(char* data, size_t size, size_t count, void* hop);
  static size_t DataCallback(char* data, size_t size, size_t count, void* hop);
  static size_t BodyCallback(char* buffer, size_t size, size_t count, void* hop);
  static int RewindCallback(void* hop, curl_off_t offset, int origin);
  static int SendingCallback(void* hop, char*, char*, int, int localPort);

  CurlHandles& handles_;
  const URLRequest request_;
  URLConnectionDelegate& delegate_;
  uint64_t bodyLength_ = 0;

  std::string url_;  // of this hop
  URLScheme scheme_ = URLScheme::Malformed;
  int redirects_ = 0;
  URLTransferInfo formerHops_;

  bool insidePerform_ = false;
  bool ended_ = false;            // cancelled, failed or finished: no more events
  bool endedWell_ = false;        // finished
  std::exception_ptr thrown_;     // by an event, to go on when libcurl has returned
  int error_ = 0;                 // by which it failed
  std::string failure_;           // the same in words
  bool needsLookup_ = false;      // as the first try has shown, when there were too many
  std::unique_ptr<CurlHop> hop_;  // null where the request cannot be begun, or has ended
};

}  // namespace kelo
