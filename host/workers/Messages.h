// Messages between the processes of one run: each an object, and a descriptor with it if need be,
// over a socket.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/library/FileLock.h"

namespace kelo::host {

// Its texts are bytes, as file names are.
using Message = nlohmann::json;

// One end of a connection. One thread sends, and one receives.
class Peer {
 public:
  explicit Peer(OwnedFile socket = OwnedFile()) : socket_(std::move(socket)) {}

  // The two ends of a new connection. Throws Failure.
  static std::pair<Peer, Peer> Pair();

  // False when the other end has gone. `descriptor` arrives as a copy; -1: none.
  bool Send(const Message& message, int descriptor = -1);
  // Waits for a message; nothing when the other end has gone. `descriptor`, where it is not null,
  // takes what came with it.
  std::optional<Message> Receive(OwnedFile* descriptor = nullptr);
  // Waits until the other end has gone.
  void AwaitEnd() const;
  // Tells the other end, at once, that nothing more comes; from any thread. Receive goes on until
  // that end has gone.
  void Close() const;
  int Number() const { return socket_.Number(); }

 private:
  OwnedFile socket_;
};

}  // namespace kelo::host
