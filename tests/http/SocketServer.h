// A scripted peer on loopback for faults that lie below HTTP: each connection is handed to the
// test's function on a thread of its own, which reads and sends what it likes.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace kelo {

class SocketServer;

// The bytes of an ordinary answer, with its Content-Length.
std::string Response(int status, std::string_view body = "", std::string_view headers = "");

// One accepted connection, seen from the server. Every wait ends when the server stops.
class Peer {
 public:
  // Index of the connection, from 0.
  int Index() const { return index_; }
  // For what this class cannot say.
  int Socket() const { return socket_; }
  // Reads one request, head and body by its Content-Length, and logs it. Empty when the client
  // left.
  std::string ReadRequest();
  // Reads one head; the body stays unread.
  std::string ReadHead();
  // Reads so many bytes and throws them away; how many came.
  std::size_t Skip(std::size_t size);
  // False when the client has left.
  bool Send(std::string_view bytes);
  bool Reply(int status, std::string_view body, std::string_view headers = "") {
    return Send(Response(status, body, headers));
  }
  // False when the server stops.
  bool Pause(std::chrono::milliseconds time);
  // Returns when the client has left.
  void WaitUntilClosed();
  // The connection will be reset instead of closed.
  void ResetAtEnd();

 private:
  friend class SocketServer;
  Peer(SocketServer& server, int socket, int index)
      : server_(server), socket_(socket), index_(index) {}
  bool Fill(std::size_t atMost);

  SocketServer& server_;
  const int socket_;
  const int index_;
  std::string pending_;
};

class SocketServer {
 public:
  using Handler = std::function<void(Peer&)>;
  explicit SocketServer(Handler handler);
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;
  ~SocketServer();

  // From now on ReadRequest leaves zeros out, and ends with their number: "(4096 zeros)".
  void CountZeros() { countsZeros_ = true; }
  // Gives the connections to come a small receive buffer, so that bytes wait at the sender.
  void ReceiveLittleAtATime();

  // "http://127.0.0.1:PORT" and the path.
  std::string Url(std::string_view path = "") const;
  int Port() const { return port_; }
  // The requests as they came, in the order in which they were complete.
  std::vector<std::string> Requests() const;
  int Connections() const { return connections_; }
  // Of these, those that it has closed.
  int Closed() const { return closed_; }

 private:
  friend class Peer;
  void Accept();
  void Log(std::string request);

  const Handler handler_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<int> connections_ = 0;
  std::atomic<int> closed_ = 0;
  std::atomic<bool> countsZeros_ = false;
  mutable std::mutex lock_;
  std::condition_variable stopped_;
  bool stopping_ = false;
  std::vector<std::string> requests_;
  std::vector<int> sockets_;
  std::list<std::thread> threads_;
  std::thread acceptor_;
};

// Gives every request of every connection the same ordinary answer.
inline SocketServer::Handler AnswerAll(std::string body, std::string headers = "") {
  return [=](Peer& peer) {
    while (!peer.ReadRequest().empty() && peer.Reply(200, body, headers)) {
    }
  };
}

}  // namespace kelo
