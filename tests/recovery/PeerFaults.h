// What a peer may do wrong, and what each request then comes to.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "recovery/Front.h"

namespace kelo::testing {

constexpr uint32_t kNotTried = ~0u;  // to this request it is no fault
constexpr const char* kNoHost = "http://no-such-host.invalid";

struct Fault {
  std::string name;
  Front::Fault peer;
  // What a document (PUT), an upload (POST) and the opening of a session (a GET that follows
  // redirects) come to ...
  uint32_t others;
  uint32_t download = others;  // ... and a download, likewise

  friend void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }
};

inline Front::Fault Answer(std::string bytes, bool keepsConnection = false) {
  return [=](Peer& peer) { return peer.Send(bytes) && keepsConnection; };
}

// `piece` again and again; the limit only ends a test that fails.
inline Front::Fault AnswerWithoutEnd(std::string head, std::string piece) {
  return [=](Peer& peer) {
    bool heard = peer.Send(head);
    for (size_t sent = 0; heard && sent < 64u << 20; sent += piece.size()) heard = peer.Send(piece);
    return false;
  };
}

inline Front::Fault AnswerStatus(int status, std::string body = "", std::string headers = "") {
  return [=](Peer& peer) { return peer.Reply(status, body, headers); };
}

inline Front::Fault RedirectTo(std::string target) {
  return AnswerStatus(302, "", "Location: " + target + "\r\n");
}

inline std::vector<Fault> PeerFaults() {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string kib(1000, 'x');
  return {
      {"closed", [](Peer&) { return false; }, 4129},
      {"reset", [](Peer& peer) { return peer.ResetAtEnd(), false; }, 4129},
      {"reset in the body",
       [=](Peer& peer) {
         peer.Send(ok + "Content-Length: 9\r\n\r\nabc");
         return peer.ResetAtEnd(), false;
       },
       4129},
      {"body cut", Answer(ok + "Content-Length: 9\r\n\r\nabc"), 4129},
      {"chunks cut", Answer(ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n"), 4129},
      {"chunks that are none", Answer(ok + "Transfer-Encoding: chunked\r\n\r\nzz\r\nabc"), 4129},
      {"length too short", Answer(ok + "Content-Length: 3\r\n\r\n<r stat=\"ok\" />", true), 4144,
       kNotTried},
      {"status line cut", Answer("HTTP/1.1 200 O"), 4129},
      {"head cut in a field", Answer(ok + "Content-Length: 2\r\nX: "), 4129},
      {"header without end", AnswerWithoutEnd(ok + "X: ", kib), 4114},
      {"head cut before its end", Answer(ok), 4129},
      {"redirect cut", Answer("HTTP/1.1 302 Found\r\nLocation: /\r\n"), 4129},
      {"404 with its body cut", Answer("HTTP/1.1 404 No\r\nContent-Length: 9\r\n\r\nabc"), 4129},
      {"404 cut", Answer("HTTP/1.1 404 Not Found\r\n"), 4129},
      {"only an interim answer", Answer("HTTP/1.1 100 Continue\r\n\r\n"), 4129},
      {"headers without end", AnswerWithoutEnd(ok, "X: " + kib + "\r\n"), 4114},
      {"interim answers without end", AnswerWithoutEnd("", "HTTP/1.1 100 Continue\r\n\r\n"), 4114},
      {"trailers without end",
       AnswerWithoutEnd(ok + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n",
                        "X: " + kib + "\r\n"),
       4114},
      {"redirect with a body without end",
       AnswerWithoutEnd("HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\n\r\n", kib), 4114},
      {"redirect to no host", RedirectTo(kNoHost), 4114},
      {"garbage", Answer("\x01\x02 this is no HTTP\r\n\r\n"), 4114},
      {"another protocol", Answer("220 ready for mail\r\n"), 4114},
      {"404", AnswerStatus(404), 4114, 4098},
      {"500", AnswerStatus(500, "oops"), 4114},
      {"504", AnswerStatus(504), 4128},
      {"redirect to a closed port", RedirectTo("http://127.0.0.1:1/"), 4114},
      {"redirect to another scheme", RedirectTo("file:///etc/hostname"), 4114},
      {"redirect in a circle", RedirectTo("/again"), 4114},
      {"redirect to nowhere", AnswerStatus(302), 4114},
      {"broken compression", Answer(ok + "Content-Encoding: gzip\r\nContent-Length: 4\r\n\r\nabcd"),
       4114, kNotTried},
      {"compression cut",
       Answer(ok + "Content-Encoding: gzip\r\nContent-Length: 10\r\n\r\n" +
                  std::string("\x1f\x8b\x08\0\0\0\0\0\0\3", 10),
              true),
       4144, kNotTried},
      {"empty", AnswerStatus(200), 4144, kNotTried},
      {"no stat and closed", Answer(ok + "Content-Length: 5\r\n\r\n<r />"), 4144, kNotTried},
      {"service error", AnswerStatus(200, "<r stat=\"fail\" errcode=\"208\" />"), 4101, kNotTried},
      {"silent until the abort",
       [](Peer& peer) {
         peer.WaitUntilClosed();
         return false;
       },
       3},
      {"slow until the abort",
       [=](Peer& peer) {
         peer.Send(ok + "Content-Length: 100\r\n\r\nabc");
         peer.WaitUntilClosed();
         return false;
       },
       3},
  };
}

}  // namespace kelo::testing
