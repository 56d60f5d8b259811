// A request as it arrived, and an answer with whatever may be wrong with it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelo::devservice {

using Headers = std::vector<std::pair<std::string, std::string>>;
// Ignoring case; empty when absent.
std::string HeaderIn(const Headers& headers, std::string_view name);

// What a request says and what of it came.
struct RequestFacts {
  std::string verb;  // "GET", "PUT", "POST"; "?" of what is no HTTP request: its path is the line
  std::string path;
  std::string query;   // undecoded, without the "?"
  std::string method;  // "OpenSession", "GetHierarchy", ..., "Download"; empty for anything else
  std::uint64_t bodySize = 0;  // as far as it came
  bool complete = true;        // false when the peer left, or was answered, before the body's end
};

// A request as it arrives. Header names are as sent.
struct ClientRequest : RequestFacts {
  std::string target;  // path and query exactly as sent
  Headers headers;
  std::string body;                 // empty of an upload of more than 1 MiB
  std::uint64_t announcedSize = 0;  // of the body, by Content-Length; 0 without one

  std::string Header(std::string_view name) const { return HeaderIn(headers, name); }
};

// An answer. The defaults are an ordinary 200.
struct Reply {
  int status = 200;
  std::string body{};
  Headers headers{};
  std::chrono::milliseconds delay{0};  // silence before the first byte
  std::uint64_t bytesPerSecond = 0;    // of the body; 0: as fast as it goes
  std::optional<size_t> cutAfter{};    // close the connection after this many body bytes
  std::int64_t addedLength = 0;        // Content-Length claims so much more than the true one
  bool closeAtOnce = false;            // close without answering at all
  bool reset = false;                  // likewise, by a reset
  bool hasHead = true;                 // otherwise the body is all that is sent, before a reset too
  bool silent = false;                 // never answer, until the peer leaves or the service stops
  std::filesystem::path file{};        // sent from disk instead of the body
  bool mayCompress = false;
};

// A text as answer, for people.
Reply PlainReply(int status, std::string body);
// The answer to a body of more bytes than it may have.
Reply TooLarge(std::uint64_t most);

// One gzip member, compressed for speed.
std::string Gzip(std::string_view bytes);

}  // namespace kelo::devservice
