// One accepted connection. cpp-httplib parses the requests that are read from it; the answers are
// written here, byte by byte as wanted, because faults (pauses, cuts, wrong lengths) and big files
// need more control than that library's own writer gives.
#pragma once

#include <httplib.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "devservice/http/Message.h"
#include "devservice/http/Pace.h"

namespace kelo::devservice {

// An answer of the service: a reply, or a file that is sent from disk instead of its body.
struct Answer {
  Reply reply;
  std::filesystem::path file;
  bool mayCompress = false;
};

// Used by the connection's own thread; the socket is shut down from outside to end it at once.
class Connection final : public httplib::Stream {
 public:
  struct Limits {
    std::chrono::milliseconds head;
    std::chrono::milliseconds body;
  };
  Connection(int socket, Limits limits);

  // Waits a moment for the first byte of the next request; false when there is none.
  bool AwaitRequest();
  // The head was read, and its limits end. The body is taken at so many bytes a second; 0: as fast
  // as it comes.
  void AllowBody(std::uint64_t bytesPerSecond);

  // Answers the current request. What httplib then writes for it is swallowed.
  void Send(const Answer& answer, bool headOnly, bool peerTakesGzip);
  // The connection ends after this answer, although the peer is still sending.
  void SendAndLeave(Answer answer, bool headOnly);
  // To be called then: closing with unread bytes would reset the connection, and could destroy the
  // answer under way.
  void Drain();

  // A request has begun to come, and nobody has answered it: httplib gave it up.
  bool IsGivenUp() const { return !answered_ && !beginning_.empty(); }
  // The first line of the request, as far as it has come, cut to 200 bytes.
  std::string_view FirstLine() const;

  // Of the answer since CountFromHere: 0 and 0 where none was sent.
  void CountFromHere();
  int SentStatus() const { return sentStatus_; }
  std::uint64_t SentBytes() const { return sentBytes_; }

  // Also without an answer: then nobody knows where the next request begins.
  bool MustClose() const { return mustClose_ || !answered_; }
  void CloseAfterwards() { mustClose_ = true; }

  // httplib::Stream
  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* data, size_t size) override;
  ssize_t write(const char* data, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  int socket() const override { return socket_; }

 private:
  bool AwaitSocket(short events) const;            // false at the deadline
  void Count(std::uint64_t bytes);                 // that have passed
  bool PauseUntil(Pace::Clock::time_point until);  // false when the peer left, or the service stops
  bool SendAll(std::string_view bytes);
  bool SendBody(const Reply& reply);
  bool SendFile(const std::filesystem::path& file, const Reply& reply);
  bool SendFilePiece(int file, std::uint64_t size);
  template <typename SendPiece>
  bool SendPaced(std::uint64_t bytesPerSecond, std::uint64_t size, SendPiece sendPiece);
  void ResetWhenClosed();

  int socket_;
  Limits limits_;
  std::unique_ptr<char[]> buffer_;
  std::chrono::steady_clock::time_point deadline_;
  std::uint64_t headLeft_ = 0;  // how much of a head may still come
  Pace pace_{0};                // at which a request's body is taken
  std::string beginning_;       // of the request
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint64_t sentBytes_ = 0;
  int sentStatus_ = 0;
  bool answered_ = false;
  bool mustClose_ = false;
  bool drains_ = false;
};

}  // namespace kelo::devservice
