// Frames messages in MessagePack: four bytes of length, then the bytes.
#include "host/workers/Messages.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "host/names/Failure.h"

namespace kelo::host {
namespace {

// Room for one descriptor beside the bytes.
union Ancillary {
  cmsghdr header;
  char bytes[CMSG_SPACE(sizeof(int))];
};

msghdr HeaderOf(iovec& piece, Ancillary* ancillary) {
  msghdr header{};
  header.msg_iov = &piece;
  header.msg_iovlen = 1;
  if (ancillary == nullptr) return header;
  header.msg_control = ancillary->bytes;
  header.msg_controllen = sizeof ancillary->bytes;
  return header;
}

bool SendAll(int socket, const std::vector<std::uint8_t>& bytes, int descriptor) {
  Ancillary ancillary{};
  ancillary.header.cmsg_len = CMSG_LEN(sizeof descriptor);
  ancillary.header.cmsg_level = SOL_SOCKET;
  ancillary.header.cmsg_type = SCM_RIGHTS;
  std::memcpy(CMSG_DATA(&ancillary.header), &descriptor, sizeof descriptor);
  for (size_t sent = 0; sent < bytes.size();) {
    iovec piece{const_cast<std::uint8_t*>(bytes.data()) + sent, bytes.size() - sent};
    // The descriptor goes with the first bytes.
    const msghdr header = HeaderOf(piece, descriptor >= 0 && sent == 0 ? &ancillary : nullptr);
    const ssize_t count = ::sendmsg(socket, &header, MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    sent += static_cast<size_t>(count);
  }
  return true;
}

bool ReceiveAll(int socket, void* bytes, size_t size, OwnedFile* descriptor) {
  for (size_t received = 0; received < size;) {
    Ancillary ancillary{};
    iovec piece{static_cast<char*>(bytes) + received, size - received};
    msghdr header = HeaderOf(piece, &ancillary);
    const ssize_t count = ::recvmsg(socket, &header, MSG_CMSG_CLOEXEC);  // Linux's: the flag
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    received += static_cast<size_t>(count);
    const cmsghdr* const with = CMSG_FIRSTHDR(&header);
    if (with == nullptr || with->cmsg_type != SCM_RIGHTS) continue;
    int number = -1;
    std::memcpy(&number, CMSG_DATA(with), sizeof number);
    OwnedFile came(number);
    if (descriptor != nullptr) *descriptor = std::move(came);
  }
  return true;
}

}  // namespace

std::pair<Peer, Peer> Peer::Pair() {
  int ends[2];
  // Linux's: SOCK_CLOEXEC.
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw Failure(std::string("cannot make a connection between processes: ") +
                  std::strerror(errno));
  return {Peer(OwnedFile(ends[0])), Peer(OwnedFile(ends[1]))};
}

bool Peer::Send(const Message& message, int descriptor) {
  std::vector<std::uint8_t> bytes(sizeof(std::uint32_t));
  Message::to_msgpack(message, bytes);
  const auto length = static_cast<std::uint32_t>(bytes.size() - sizeof(std::uint32_t));
  std::memcpy(bytes.data(), &length, sizeof length);
  return SendAll(socket_.Number(), bytes, descriptor);
}

std::optional<Message> Peer::Receive(OwnedFile* descriptor) {
  std::uint32_t length = 0;
  if (!ReceiveAll(socket_.Number(), &length, sizeof length, descriptor)) return std::nullopt;
  std::vector<std::uint8_t> bytes(length);
  if (!ReceiveAll(socket_.Number(), bytes.data(), bytes.size(), nullptr)) return std::nullopt;
  return Message::from_msgpack(bytes);
}

void Peer::AwaitEnd() const {
  // What lies there to be read does not count.
  // Linux's: POLLRDHUP.
  pollfd socket{.fd = socket_.Number(), .events = POLLRDHUP, .revents = 0};
  while (::poll(&socket, 1, -1) < 0 && errno == EINTR) {
  }
}

void Peer::Close() const {
  ::shutdown(socket_.Number(), SHUT_WR);
}

}  // namespace kelo::host
