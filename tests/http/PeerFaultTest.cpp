// Peers that are slow or leave, and what each course of a request's events comes to.

#include <csignal>
#include <limits>

#include "http/HTTPTestSupport.h"
#include "http/ScriptedLoader.h"
#include "http/SocketServer.h"

namespace kelo {
namespace {

using namespace std::chrono_literals;

TEST(Peer, ASlowOneThatIsNeverSilentForLongSucceeds) {
  SocketServer server([](Peer& peer) {
    peer.ReadRequest();
    for (const char c : std::string_view("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"))
      if (!peer.Send(std::string(1, c)) || !peer.Pause(60ms)) return;
  });
  Transport transport;
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(transport.Get(server.Url(), "", 1), 0u);
  EXPECT_EQ(transport.response, "abc");
  EXPECT_GT(std::chrono::steady_clock::now() - begun, 1500ms) << "was not slow";
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
  const std::string body(1536 << 10, 'x');
  EXPECT_EQ(transport.Get(server.Url(), "", 1), 0u);
  EXPECT_EQ(transport.Put(server.Url(), body, 1), 0u);
  EXPECT_EQ(transport.response, "read");
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
  for (const bool upload : {false, true}) {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(upload ? transport.Send(server.Url(), {{"", file, 64 << 20}}, 1)
                     : transport.Put(server.Url(), body, 1),
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
  const std::string large(32 << 20, 'x');  // 5.6 seconds more
  EXPECT_EQ(transport.Put(server.Url(), large, 1), 0u);
  EXPECT_EQ(transport.response, "digested");
  for (const auto& [path, body] : {std::pair("", std::string("small")), {"/begins", large}})
    EXPECT_EQ(transport.Put(server.Url(path), body, 1), 4098u);
}

TEST(Peer, ThatLeavesWhileABodyTravelsRaisesNoSignal) {
  ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    peer.ResetAtEnd();
  });
  Transport transport;
  const std::string body(16 << 20, 'x');
  for (int i = 0; i < 5; ++i) EXPECT_EQ(transport.Put(server.Url(), body), 4099u);
  EXPECT_EQ(server.Connections(), 5);
}

// By scripted events: what no peer brings about at will.
struct Scripted {
  LoaderScript script;
  Transport transport{std::make_unique<ScriptedLoader>(script)};

  TransportCode Get() { return transport.Get("http://h/p"); }
};

TEST(MacHTTPControl, AnswerTextEndsAtItsFirstZeroByte) {
  Scripted s;
  s.script.Answer(200, std::string("text\0more\0", 10));
  EXPECT_EQ(s.Get(), 0u);
  EXPECT_EQ(s.transport.response, "text");
  s.script.Answer(200, std::string("\0", 1));
  EXPECT_EQ(s.Get(), 0u);
  EXPECT_EQ(s.transport.response, "");
}

TEST(MacHTTPControl, AnAnswerWithoutEndIsGivenUp) {
  Scripted s;
  const std::size_t tooMuch = (std::size_t{512} << 20) + 1;
  const std::unique_ptr<char[]> untouched(new char[tooMuch]);
  s.script.Response(200, std::numeric_limits<std::uint64_t>::max());
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    delegate.DidReceiveData(std::string_view(untouched.get(), tooMuch));
  });
  EXPECT_EQ(s.Get(), 4112u);
  EXPECT_EQ(s.transport.response, "");
}

TEST(MacHTTPControl, ADownloadOfUnknownLengthHasATotalOfZero) {
  Scripted s;
  s.script.Response(200);
  s.script.Data("abc");
  s.script.Finish();
  EXPECT_EQ(s.transport.Download("http://h/f"), 0u);
  EXPECT_EQ(s.transport.progress.heard, (std::vector<Progress>{{"", 3, 0}}));
}

TEST(MacHTTPControl, AbortWinsOverAFailureButNotOverTheEnd) {
  Scripted s;
  const auto abort = [&](URLConnectionDelegate&) { s.transport.connection.HTTPAbort(); };
  s.script.Response(413);
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    abort(delegate);
    delegate.DidFailWithError(kURLErrorDomain, URLError::TimedOut);
  });
  EXPECT_EQ(s.Get(), 1u);
  s.script.Response(200);
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    delegate.DidFinishLoading();
    abort(delegate);
  });
  EXPECT_EQ(s.Get(), 0u);
}

}  // namespace
}  // namespace kelo
