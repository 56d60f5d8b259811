// One request over libcurl: its options, its callbacks, its redirects and the watch over its
// silence. Included by the URLLoading sources only.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "platform/URLLoading.h"
#include "platform/URLLoadingCurl.h"

namespace kelo {

class CurlConnection;

/// What a loader keeps from request to request: its handles, and with them the open connections.
struct CurlHandles {
  CurlMulti multi;
  CurlEasy easy;
  CurlConnection* current = nullptr;  // the request under way
  // The sockets opened last, more of them than connections are kept. Some are closed by now.
  std::array<curl_socket_t, 8> sockets;
  size_t socketsOpened = 0;

  CurlHandles() { sockets.fill(CURL_SOCKET_BAD); }
};

class CurlConnection final : public URLConnection {
 public:
  CurlConnection(CurlHandles& handles, const URLRequest& request, URLConnectionDelegate& delegate);
  CurlConnection(const CurlConnection&) = delete;
  CurlConnection& operator=(const CurlConnection&) = delete;
  ~CurlConnection() override;

  void Cancel() override;
  /// One slice: moves the transfer on, delivers events, and waits if nothing ended it.
  void Advance(std::chrono::milliseconds slice);

 private:
  using Clock = std::chrono::steady_clock;

  /// How far the bytes of a transfer have come, in both directions and inside the system.
  struct Movement {
    curl_off_t sent = 0;
    curl_off_t received = 0;
    int queued = 0;
    bool operator==(const Movement&) const = default;
  };

  void BeginHop();
  void SetOptions();
  void SetMethodAndBody();
  CurlList MakeHeaders() const;
  bool HasHeader(std::string_view name) const;
  bool HeadersAreSendable() const;

  void FinishHop(CURLcode code);
  void FollowRedirect();
  void Fail(int code);
  void Respond();
  void Detach();

  Movement MovementSoFar() const;
  bool IsSilentTooLong();

  size_t OnData(const char* data, size_t size);
  size_t OnBodyWanted(char* buffer, size_t size);
  int OnRewind(curl_off_t offset);
  void OnSocketOpened(curl_socket_t socket);
  int OnSendingBegins(int localPort);

  static size_t DataCallback(char* data, size_t size, size_t count, void* self);
  static size_t BodyCallback(char* buffer, size_t size, size_t count, void* self);
  static int RewindCallback(void* self, curl_off_t offset, int origin);
  static int SendingCallback(void* self, char*, char*, int, int localPort);
  static int SocketCallback(void* self, curl_socket_t socket, curlsocktype);

  CurlHandles& handles_;
  const URLRequest request_;
  URLConnectionDelegate& delegate_;
  uint64_t bodyLength_ = 0;
  CurlList headers_;

  std::string url_;  // of this hop
  URLScheme scheme_ = URLScheme::Malformed;
  int redirects_ = 0;
  int refusedWith_ = 0;  // error code of a request that was never begun

  bool attached_ = false;  // the easy handle is in the multi handle
  bool insidePerform_ = false;
  bool ended_ = false;         // cancelled, failed or finished: no more events
  std::exception_ptr thrown_;  // by an event, to go on when libcurl has returned

  // Of this hop.
  bool responded_ = false;
  bool redirecting_ = false;
  bool repeatRefused_ = false;
  int attempts_ = 0;
  uint64_t bodyRead_ = 0;
  curl_socket_t socket_ = CURL_SOCKET_BAD;  // over which the request travels
  Movement movement_;
  Clock::time_point lastMovement_;
};

}  // namespace kelo
