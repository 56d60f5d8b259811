// What a peer can do wrong, and what each of it comes to. Also: that a slow peer is not a dead one.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <string>

#include "http/HTTPTestSupport.h"
#include "http/SocketServer.h"

namespace kelo {
namespace {

using namespace std::chrono_literals;

struct Fault {
  const char* name;
  std::function<void(Peer&)> peer;
  std::uint32_t expected;
  friend std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << fault.name;
  }
};

std::function<void(Peer&)> Answer(std::string bytes) {
  return [bytes](Peer& peer) {
    peer.ReadRequest();
    peer.Send(bytes);
  };
}

std::function<void(Peer&)> ThenSilence(std::string bytes) {
  return [bytes](Peer& peer) {
    peer.ReadRequest();
    peer.Send(bytes);
    peer.WaitUntilClosed();
  };
}

const Fault kFaults[] = {
    {"closed at once", [](Peer&) {}, 4099},
    {"closed after the request", [](Peer& peer) { peer.ReadRequest(); }, 4099},
    {"reset",
     [](Peer& peer) {
       peer.ReadRequest();
       peer.ResetAtEnd();
     },
     4099},
    {"reset in the body",
     [](Peer& peer) {
       peer.ReadRequest();
       peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc");
       peer.Pause(50ms);
       peer.ResetAtEnd();
     },
     4099},
    {"body cut short", Answer("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"), 4099},
    {"chunks cut short",
     Answer("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n"), 4099},
    {"error status with a body cut short",
     Answer("HTTP/1.1 404 No\r\nContent-Length: 9\r\n\r\nabc"), 4099},
    {"garbage", Answer("\x01\x02 this is no HTTP\r\n\r\n"), 4112},
    {"another protocol", Answer("220 ready for mail\r\n"), 4112},
    {"garbage for chunks", Answer("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nabc"),
     4099},
    {"garbage for gzip",
     Answer("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\nabcd"), 4112},
    {"an endless header line", Answer("HTTP/1.1 200 OK\r\nX: " + std::string(1 << 20, 'x')), 4112},
    {"silent", ThenSilence(""), 4098},
    {"silent after a head", ThenSilence("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"), 4098},
    {"silent in a head", ThenSilence("HTTP/1.1 200 OK\r\nConte"), 4098},
    {"silent in the body", ThenSilence("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"), 4098},
    {"408", Answer("HTTP/1.1 408 x\r\nContent-Length: 0\r\n\r\n"), 4098},
    {"413", Answer("HTTP/1.1 413 x\r\nContent-Length: 0\r\n\r\n"), 4100},
    {"500", Answer("HTTP/1.1 500 x\r\nContent-Length: 0\r\n\r\n"), 4112},
    {"504", Answer("HTTP/1.1 504 x\r\nContent-Length: 0\r\n\r\n"), 4098},
};

class PeerFault : public testing::TestWithParam<Fault> {};

TEST_P(PeerFault, EndsEachOperationWithItsCodeAndLeavesNothing) {
  const std::string_view name = GetParam().name;
  SocketServer server(GetParam().peer);
  Transport transport;
  std::string response;
  std::uint32_t size = 0;
  const auto begun = std::chrono::steady_clock::now();
  HTTPConnection& connection = transport.connection;
  EXPECT_EQ(connection.HTTPRequestPUT(server.Url(), "", "body", response, 1), GetParam().expected);
  if (!name.starts_with("silent")) {  // which takes its time
    EXPECT_EQ(connection.HTTPRequestGET(server.Url(), "", response, 1), GetParam().expected);
    EXPECT_EQ(
        connection.HTTPRequestFileUpload(server.Url(), "", {}, {{"body", "", 0}}, response, 1),
        GetParam().expected);
  }
  if (name != "garbage for gzip") {  // which a download stores as it is
    EXPECT_EQ(connection.HTTPFileDownload(server.Url(), transport.folder.Path("f"), size, 1),
              GetParam().expected);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(transport.folder.EntryCount(), 0u);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
}

std::string TestName(const testing::TestParamInfo<Fault>& info) {
  std::string name = info.param.name;
  for (char& c : name) c = c == ' ' ? '_' : c;
  return name;
}
INSTANTIATE_TEST_SUITE_P(, PeerFault, testing::ValuesIn(kFaults), TestName);

TEST(Peer, ASlowOneThatIsNeverSilentForLongSucceeds) {
  SocketServer server([](Peer& peer) {
    peer.ReadRequest();
    for (const char c : std::string_view("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc")) {
      if (!peer.Send(std::string(1, c)) || !peer.Pause(60ms)) return;
    }
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
    while (!peer.ReadRequest().empty() && peer.Pause(2500ms)) peer.Reply(200, "digested");
  });
  Transport transport;
  std::string response;
  const std::string large(32 << 20, 'x');  // 5.6 seconds more
  EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", large, response, 1), 0u);
  EXPECT_EQ(response, "digested");
  EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", "small", response, 1), 4098u);
}

TEST(Peer, ThatCannotBeReached) {
  Transport transport;
  std::string response;
  std::string closedPort;
  {
    closedPort = SocketServer([](Peer&) {}).Url();
  }
  HTTPConnection& connection = transport.connection;
  EXPECT_EQ(connection.HTTPRequestGET(closedPort, "", response, 5), 4112u);
  EXPECT_EQ(connection.HTTPRequestGET("http://no-such-host.invalid", "", response, 20), 4097u);
  EXPECT_EQ(connection.HTTPRequestGET("ftp://127.0.0.1", "", response, 5), 4112u);
  EXPECT_EQ(connection.HTTPRequestGET("no url", "", response, 5), 4112u);
  EXPECT_EQ(connection.HTTPRequestPUT("", "", "body", response, 5), 4112u);
}

TEST(Peer, ThatSpeaksPlainTextInsteadOfTLS) {
  SocketServer server([](Peer& peer) {
    peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    peer.WaitUntilClosed();
  });
  Transport transport;
  std::string response;
  const std::string url = "https://127.0.0.1:" + std::to_string(server.Port());
  EXPECT_EQ(transport.connection.HTTPRequestGET(url, "", response, 5), 4112u);
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
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", body, response, 5), 4099u);
  }
  EXPECT_EQ(server.Connections(), 5);
}

TEST(Peer, ThatRefusesABodyBeforeItsEndIsHeard) {
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    peer.Reply(413, "too large", "Connection: close\r\n");
    peer.WaitUntilClosed();
  });
  Transport transport;
  std::string response;
  const std::string body(64 << 20, 'x');
  EXPECT_EQ(transport.connection.HTTPRequestPUT(server.Url(), "", body, response, 5), 4100u);
  EXPECT_EQ(response, "too large");
}

}  // namespace
}  // namespace kelo
