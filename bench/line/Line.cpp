// Each direction of a connection takes pieces at the rate, and gives each when it is due.
#include "line/Line.h"

#include <netinet/tcp.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace kelo::bench {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 4096;  // taken at once
constexpr int kBuffer = 16 * 1024;    // of a socket, for each way
// As on a network. Loopback's own 64 KiB are more than the buffers, and TCP would stall.
constexpr int kSegment = 1448;
// On the way, beyond what latency and rate make of it, while the receiver takes nothing.
constexpr std::size_t kWaiting = 64 * 1024;

using Segment = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_MAXSEG>;

// The buffers of the other end follow ours: it has only so much under way.
template <typename Socket>
void KeepSmall(Socket& socket) {
  socket.set_option(asio::socket_base::receive_buffer_size(kBuffer));
  socket.set_option(asio::socket_base::send_buffer_size(kBuffer));
  socket.set_option(Segment(kSegment));
}

// What all connections know. Sent bytes are kept by the number of their connection.
struct Common {
  Line::Terms terms;
  std::mutex mutex{};  // guards what follows
  std::map<int, std::string> sent{};

  void Keep(int connection, const char* bytes, std::size_t size) {
    const std::lock_guard lock(mutex);
    sent[connection].append(bytes, size);
  }
};

class Direction {
 public:
  using OnTaken = std::function<void(const char*, std::size_t)>;
  using Owner = std::shared_ptr<void>;  // keeps the connection while something is awaited

  Direction(const Line::Terms& terms, tcp::socket& from, tcp::socket& to, OnTaken onTaken)
      : terms_(terms),
        from_(from),
        to_(to),
        onTaken_(std::move(onTaken)),
        isFree_(from.get_executor()),
        isDue_(from.get_executor()) {}

  void Begin(const Owner& owner) {
    freeAt_ = Clock::now();
    Take(owner);
  }

 private:
  struct Piece {
    Clock::time_point due;
    std::string bytes;  // none: the end
  };

  Clock::duration TimeOf(std::uint64_t size) const {
    return std::chrono::nanoseconds(size * 1'000'000'000 / terms_.bytesPerSecond);
  }

  // Called when the line is free for the next piece.
  void Take(const Owner& owner) {
    const auto most = kWaiting + static_cast<std::size_t>(terms_.latency.count()) *
                                     terms_.bytesPerSecond / 1'000'000;
    isStalled_ = waiting_ >= most;
    if (isStalled_) return;
    std::array<char, kPiece> bytes;
    error_code error;
    const std::size_t size = from_.read_some(asio::buffer(bytes), error);
    if (error == asio::error::would_block) {
      return from_.async_wait(
          tcp::socket::wait_read,
          [this, owner](error_code) {
            freeAt_ = std::max(freeAt_, Clock::now());
            Take(owner);
          });
    }
    // What lay there already follows the piece before at once, however late this is called.
    freeAt_ += TimeOf(size);
    waiting_ += size;
    pieces_.push_back({freeAt_ + terms_.latency, std::string(bytes.data(), size)});
    if (pieces_.size() == 1) AwaitDue(owner);
    if (error) return;
    onTaken_(bytes.data(), size);
    isFree_.expires_at(freeAt_);
    isFree_.async_wait([this, owner](error_code) { Take(owner); });
  }

  void AwaitDue(const Owner& owner) {
    isDue_.expires_at(pieces_.front().due);
    isDue_.async_wait([this, owner](error_code) { Give(owner); });
  }

  void Give(const Owner& owner) {
    while (!pieces_.empty() && pieces_.front().due <= Clock::now()) {
      std::string& bytes = pieces_.front().bytes;
      error_code error;
      if (bytes.empty()) return static_cast<void>(to_.shutdown(tcp::socket::shutdown_send, error));
      const std::size_t size = to_.write_some(asio::buffer(bytes), error);
      if (error == asio::error::would_block)
        return to_.async_wait(tcp::socket::wait_write, [this, owner](error_code) { Give(owner); });
      if (error) return static_cast<void>(from_.shutdown(tcp::socket::shutdown_both, error));
      waiting_ -= size;
      bytes.erase(0, size);
      if (bytes.empty()) pieces_.pop_front();
    }
    if (!pieces_.empty()) AwaitDue(owner);
    if (!isStalled_) return;
    freeAt_ = std::max(freeAt_, Clock::now());
    Take(owner);
  }

  const Line::Terms terms_;
  tcp::socket& from_;
  tcp::socket& to_;
  const OnTaken onTaken_;
  asio::steady_timer isFree_;
  asio::steady_timer isDue_;
  Clock::time_point freeAt_;  // when the last piece has been taken
  std::deque<Piece> pieces_;  // on the way
  std::size_t waiting_ = 0;   // their bytes
  bool isStalled_ = false;    // until the receiver takes something
};

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(Common& common, int number, tcp::socket client)
      : common_(common),
        client_(std::move(client)),
        service_(client_.get_executor()),
        made_(client_.get_executor()),
        up_(common.terms, client_, service_,
            [this, number](const char* bytes, std::size_t size) {
              common_.Keep(number, bytes, size);
            }),
        down_(common.terms, service_, client_, [](const char*, std::size_t) {}) {}

  void Begin() {
    asio::async_read(
        client_, asio::buffer(hello_),
        [self = shared_from_this()](error_code error, std::size_t) {
          if (!error) self->Connect();
        });
  }

 private:
  // SOCKS 4: version, command, port, address, and a user without a name.
  void Connect() {
    error_code error;
    const auto port = static_cast<std::uint16_t>(hello_[2] << 8 | hello_[3]);
    service_.open(tcp::v4());
    KeepSmall(service_);
    service_.connect({asio::ip::address_v4::loopback(), port}, error);
    if (error) return;
    for (tcp::socket* const socket : {&client_, &service_}) {
      socket->set_option(tcp::no_delay(true));
      socket->non_blocking(true);
    }
    made_.expires_after(2 * common_.terms.latency);
    made_.async_wait([self = shared_from_this()](error_code) { self->Carry(); });
  }

  void Carry() {
    constexpr std::array<unsigned char, 8> kGranted = {0, 90};
    error_code error;
    asio::write(client_, asio::buffer(kGranted), error);
    up_.Begin(shared_from_this());
    down_.Begin(shared_from_this());
  }

  Common& common_;
  std::array<unsigned char, 9> hello_{};
  tcp::socket client_;
  tcp::socket service_;
  asio::steady_timer made_;
  Direction up_;
  Direction down_;
};

}  // namespace

struct Line::Impl {
  explicit Impl(const Terms& terms) : common{.terms = terms} {
    acceptor.open(tcp::v4());
    KeepSmall(acceptor);
    acceptor.bind({asio::ip::address_v4::loopback(), 0});
    acceptor.listen();
    Accept();
    thread = std::thread([this] { io.run(); });
  }
  ~Impl() {
    io.stop();
    thread.join();
  }

  void Accept() {
    acceptor.async_accept([this](error_code error, tcp::socket client) {
      if (!error) std::make_shared<Connection>(common, ++connections, std::move(client))->Begin();
      Accept();
    });
  }

  Common common;
  asio::io_context io{1};
  tcp::acceptor acceptor{io};
  int connections = 0;
  std::thread thread;
};

Line::Line(const Terms& terms) : impl_(std::make_unique<Impl>(terms)) {}
Line::~Line() = default;

std::string Line::Proxy() const {
  return "socks4://127.0.0.1:" + std::to_string(impl_->acceptor.local_endpoint().port());
}

std::vector<std::string> Line::TakeSent() {
  const std::lock_guard lock(impl_->common.mutex);
  std::vector<std::string> texts;
  for (auto& [connection, text] : std::exchange(impl_->common.sent, {}))
    texts.push_back(std::move(text));
  return texts;
}

}  // namespace kelo::bench
