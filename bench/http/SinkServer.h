// The peer of the transport benchmarks: answers as cheaply as a peer can, so that what is measured
// is the client. Bodies are read and thrown away; a path decides the answer.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

namespace kelo::bench {

// "/file": so many bytes. "/silent": nothing. "/slow": a byte now and then. Anything else: a short
// answer. One connection after the other on loopback.
class SinkServer {
 public:
  explicit SinkServer(std::size_t fileSize = 0);
  SinkServer(const SinkServer&) = delete;
  SinkServer& operator=(const SinkServer&) = delete;
  ~SinkServer();

  std::string Url(const std::string& path) const;
  int Port() const { return port_; }
  // Requests whose head has arrived.
  int Requests() const { return requests_; }

 private:
  void Accept();
  void Serve(int socket);
  bool Answer(int socket, const std::string& head);

  const std::size_t fileSize_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<int> requests_ = 0;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace kelo::bench
