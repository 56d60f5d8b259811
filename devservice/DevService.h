// A complete local photo service on loopback: the server that the tests, the benchmarks, the demo
// and `kelo-devservice` use. It speaks the whole protocol against a SQLite account store, keeps a
// log of what arrived, and lets a test answer any request by itself, faults included.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelo::devservice {

struct RequestRecord;

// What arrived. Header names are as sent.
struct LoggedRequest {
  std::string method;  // "GET", "PUT", "POST"
  std::string target;  // path and query exactly as sent
  std::string path;
  std::string query;  // undecoded, without the "?"
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;  // bodies above 1 MiB are kept only while Options::logLargeBodies is set
  std::uint64_t bodySize = 0;
  std::string apiMethod;  // "OpenSession", "GetHierarchy", ...; empty where none can be read
  bool complete = true;   // false when the peer left, or was answered, before the body's end

  std::string Header(std::string_view name) const;  // ignoring case; empty when absent
};

// A scripted answer. The defaults are an ordinary 200.
struct Reply {
  int status = 200;
  std::string body{};
  std::vector<std::pair<std::string, std::string>> headers{};
  std::chrono::milliseconds delay{0};             // silence before the first byte
  std::size_t chunkSize = 0;                      // body sent in pieces of this size ...
  std::chrono::milliseconds chunkDelay{0};        // ... with this pause after each
  std::optional<std::uint64_t> declaredLength{};  // Content-Length to claim instead of the true one
  std::optional<std::size_t> cutAfter{};          // close the connection after this many body bytes
  std::int64_t addedLength = 0;  // Content-Length claims so much more than the true one
  bool closeAtOnce = false;      // close without answering at all
  bool reset = false;            // likewise, by a reset
  bool silent = false;           // never answer, until the peer leaves or the service stops
  std::uint64_t readFirst = 0;   // head scripts only: body bytes to take before this answer
};

// Hears how an import goes. Both may be empty.
struct ImportWatcher {
  std::function<void(std::size_t files)> progress{};  // so many have been looked at
  std::function<void(const std::string& path, const std::string& why)> passedOver{};
};

// Decides about one request: a reply, or nothing to let the service answer it. Called on server
// threads, possibly several at once. Answers are sent compressed only when the service answers by
// itself.
using Script = std::function<std::optional<Reply>(const LoggedRequest&)>;

class Service {
 public:
  struct Options {
    std::filesystem::path dataDirectory{};  // empty: SQLite in memory, files in a temporary folder
    // 0: a free one; nothing: that of last time, where there was one.
    std::optional<int> port{};
    std::uint64_t quotaBytes = 5ull << 30;
    bool logLargeBodies = false;
    std::chrono::seconds tokenLifetime{3600};  // counted from the token's last use
    std::uint64_t maxRequestBytes = 4ull
                                    << 30;  // a longer body is answered 413 before it has ended
    std::size_t logLimit = 1'000'000;       // older requests leave the log
    // Clients that are slower lose their connection. What is behind the head may take longer by a
    // second for every 1000 bytes, either way.
    std::chrono::milliseconds headLimit{30'000};
    std::chrono::milliseconds bodyLimit{60'000};
    // Hears of every request of a client when it is over. Called on server threads, several at
    // once.
    std::function<void(const RequestRecord&)> onRequest{};
  };

  Service();
  explicit Service(Options options);
  ~Service();  // stops the server; silent and slow replies end at once
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  std::string Url() const;      // "http://127.0.0.1:PORT"
  std::string PageUrl() const;  // of the page that shows the service, with the token it needs

  // Credentials of the first account, for the open-session command.
  std::string ApiKey() const;
  std::string AuthToken() const;
  std::string Secret() const;
  std::string Address() const;  // its mail address: what others share with

  // One more account; the credentials to use for it. The API key is the service's.
  struct Account {
    std::string address;  // its mail address, as an album can be shared with it
    std::string authToken;
    std::string secret;
  };
  Account AddAccount(const std::string& address);

  // Fills the first account from a folder of pictures: sub-folders become folders and albums,
  // files at the top go to the root album. Import of a friend's album: one album with the folder's
  // name.
  void Import(const std::filesystem::path& directory, const ImportWatcher& watcher = {});
  void ImportFriend(const std::filesystem::path& directory, const ImportWatcher& watcher = {});

  // Thread-safe; replaces the former script. An empty one removes it.
  void SetScript(Script script);

  // Likewise, but asked before the body is read: `body` is empty and `bodySize` is the announced
  // length. Its reply is sent after Reply::readFirst bytes of the body, and the connection closes.
  void SetHeadScript(Script script);

  // A fault as text, which Faults.h describes; its id. Throws std::runtime_error with words about
  // what is wrong with it. Scripts answer before faults; what they answer is spoilt likewise.
  std::uint64_t AddFault(std::string_view text);
  void ClearFaults();
  std::uint64_t FaultFired(std::uint64_t id) const;  // how often so far

  std::vector<LoggedRequest> Log() const;
  void ClearLog();
  std::size_t RequestCount() const;  // since the start or the last ClearLog
  // Waits until a request for which `predicate` holds has arrived; false after the time-out.
  bool WaitForRequest(const std::function<bool(const LoggedRequest&)>& predicate,
                      std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

  // Ends the validity of all session tokens, as their expiry would.
  void ExpireTokens();

  // A mail that was sent by sharing an album.
  struct Mail {
    std::string albumId;
    std::vector<std::string> recipients;
    std::string subject;
    std::string body;
    bool gpsRemoved = false;
  };
  std::vector<Mail> Outbox() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

// A mail as a text of several lines, for people.
std::string DescribeMail(const Service::Mail& mail);

}  // namespace kelo::devservice
