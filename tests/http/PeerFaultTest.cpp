// What a peer can do wrong, and what each of it comes to. Also: that a slow peer is not a dead one.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "http/HTTPTestSupport.h"
#include "http/SocketServer.h"

namespace kelo {
namespace {

using namespace std::chrono_literals;

// The other faults of a peer, after which all must be well again, are in tests/recovery.
TEST(Peer, ThatLeavesOrFallsSilent) {
  const std::string head = "HTTP/1.1 200 OK\r\n";
  const struct {
    const char* name;
    std::string answer;
    bool silent;  // afterwards, instead of closing
    std::uint32_t expected;
  } cases[] = {
      {"error status with a body cut short", "HTTP/1.1 404 No\r\nContent-Length: 9\r\n\r\nabc",
       false, 4099},
      {"an endless header line", head + "X: " + std::string(1 << 20, 'x'), false, 4112},
      {"silent", "", true, 4098},
      {"silent after a head", head + "Content-Length: 9\r\n\r\n", true, 4098},
      {"silent in a head", head + "Conte", true, 4098},
      {"silent in the body", head + "Content-Length: 9\r\n\r\nabc", true, 4098},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SocketServer server([&c](Peer& peer) {
      peer.ReadRequest();
      peer.Send(c.answer);
      if (c.silent) peer.WaitUntilClosed();
    });
    Transport transport;
    std::string response;
    std::uint32_t size = 99;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", "body", response, 1),
              c.expected);
    EXPECT_EQ(
        transport.connection.HTTPFileDownload(server.Url(), transport.folder.Path("f"), size, 1),
        c.expected);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(transport.folder.EntryCount(), 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
  }
}

TEST(Peer, ASlowOneThatIsNeverSilentForLongSucceeds) {
  SocketServer server([](Peer& peer) {
    peer.ReadRequest();
    for (const char c : std::string_view("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"))
      if (!peer.Send(std::string(1, c)) || !peer.Pause(60ms)) return;
  });
  Transport transport;
  std::string response;
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(transport.connection.HTTPRequestGET(server.Url(), "", response, 1), 0u);
  EXPECT_EQ(response, "abc");
  EXPECT_GT(std::chrono::steady_clock::now() - begun, 1500ms) << "was not slow";
}

TEST(Peer, ASlowReaderOfABodyIsNotSilent) {
  SocketServer server([](Peer& peer) {
    const std::string head = peer.ReadHead();
    for (int i = 0; i < 8; ++i) {
      peer.Skip(8 << 20);
      if (!peer.Pause(300ms)) return;
    }
    peer.Reply(200, "read");
  });
  Transport transport;
  std::string response;
  const std::string body(64 << 20, 'x');
  EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", body, response, 1), 0u);
  EXPECT_EQ(response, "read");
}

TEST(Peer, ThatSlowlyEmptiesTheSystemsBufferIsNotSilent) {
  // The last of this body is in the system's hands long before the peer has read it.
  SocketServer server([](Peer& peer) {
    const std::string opening = peer.ReadRequest();
    peer.Reply(200, "first");
    const std::string head = peer.ReadHead();
    for (int i = 0; i < 12; ++i) {
      if (!peer.Pause(250ms)) return;
      peer.Skip(128 << 10);
    }
    peer.Reply(200, "read");
  });
  server.ReceiveLittleAtATime();
  Transport transport;
  std::string response;
  const std::string body(1536 << 10, 'x');
  EXPECT_EQ(transport.connection.HTTPRequestGET(server.Url(), "", response, 1), 0u);
  EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", body, response, 1), 0u);
  EXPECT_EQ(response, "read");
  EXPECT_EQ(server.Connections(), 1) << "the body was to travel over a connection that is reused";
}

TEST(Peer, ThatStopsReadingALargeBody) {
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    peer.Skip(1 << 20);
    peer.Pause(1min);
  });
  Transport transport;
  const std::string body(64 << 20, 'x');
  const std::string file = transport.folder.Write("f", body);
  std::string response;
  for (const bool upload : {false, true}) {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(upload ? transport.connection.HTTPRequestFileUpload(
                           server.Url(), "", {}, {{"", file, 64 << 20}}, response, 1)
                     : transport.connection.HTTPRequestPUT(server.Url(), "", body, response, 1),
              4098u);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
  }
}

TEST(Peer, MayDigestALargeBodyButNotASmallOne) {
  SocketServer server([](Peer& peer) {
    // A peer that closed after its answer would race against the next request.
    for (std::string request; !(request = peer.ReadRequest()).empty();) {
      const bool begins = request.starts_with("PUT /begins");
      if (begins) peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n");
      if (!peer.Pause(2500ms)) return;
      begins ? peer.Send("digested") : peer.Reply(200, "digested");
    }
  });
  Transport transport;
  std::string response;
  const std::string large(32 << 20, 'x');  // 5.6 seconds more
  EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", large, response, 1), 0u);
  EXPECT_EQ(response, "digested");
  for (const auto& [path, body] : {std::pair("", std::string("small")), {"/begins", large}})
    EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(path), "", body, response, 1), 4098u);
}

TEST(Peer, ThatLeavesWhileABodyTravelsRaisesNoSignal) {
  ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    peer.ResetAtEnd();
  });
  Transport transport;
  std::string response;
  const std::string body(16 << 20, 'x');
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", body, response, 5), 4099u);
  EXPECT_EQ(server.Connections(), 5);
}

}  // namespace
}  // namespace kelo
