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
#include <vector>

#include "devservice/http/Message.h"
#include "devservice/store/ImportWatcher.h"
#include "devservice/store/Mail.h"

namespace kelo::devservice {

struct RequestRecord;

// Decides about one request: a reply, or nothing to let the service answer it. Called on server
// threads, possibly several at once. Answers are sent compressed only when the service answers by
// itself. A script that throws ends the program.
using Script = std::function<std::optional<Reply>(const ClientRequest&)>;

class Service {
 public:
  struct Options {
    std::filesystem::path dataDirectory{};  // empty: SQLite in memory, files in a temporary folder
    // 0: any free one. Not given: that of the last run with this folder, if any.
    std::optional<int> port{};
    std::uint64_t quotaBytes = 5ull << 30;
    std::chrono::seconds tokenLifetime{3600};  // counted from the token's last use
    std::uint64_t maxRequestBytes = 4ull
                                    << 30;  // a longer body is answered 413 before it has ended
    size_t logLimit = 1'000'000;            // of requests in Arrived(); older ones leave
    // A slower client loses its connection. Bodies and answers get a second more for every 1000
    // bytes.
    std::chrono::milliseconds headLimit{30'000};
    std::chrono::milliseconds bodyLimit{60'000};
    // Hears of every request of a client when it is over. Called on server threads, several at
    // once.
    std::function<void(const RequestRecord&)> onRequest{};
  };

  Service();
  explicit Service(Options options);
  ~Service();  // stops the server; silent and slow replies end at once

  std::string Url() const;      // "http://127.0.0.1:PORT"
  std::string PageUrl() const;  // of the page that shows the service, with the token it needs

  // Credentials of the first account, for the open-session command.
  std::string ApiKey() const;
  std::string AuthToken() const;
  std::string Secret() const;

  // One more account; the credentials to use for it. The API key is the service's.
  struct Account {
    std::string address;  // its mail address, as an album can be shared with it
    std::string authToken;
    std::string secret;
  };
  Account AddAccount(const std::string& address);

  // Fills the first account from a folder of pictures; store/Import.h has the rule.
  void Import(const std::filesystem::path& directory, const ImportWatcher& watcher = {});
  // Adds a friend's account with this folder's pictures and shares it: one album of its name, or,
  // if it holds only folders, one for each.
  void ImportFriend(const std::filesystem::path& directory, const ImportWatcher& watcher = {});

  // Thread-safe; replaces the former script. An empty one removes it.
  void SetScript(Script script);

  // A fault as text, which Faults.h describes; its id. Throws std::runtime_error with words about
  // what is wrong with it. A script is asked before a fault's own answer. Faults that spoil answers
  // spoil a script's, too.
  std::uint64_t AddFault(std::string_view text);
  void ClearFaults();
  std::uint64_t FaultFired(std::uint64_t id) const;  // how often so far

  // The last requests, as they arrived; bodies of more than 1 MiB are left out.
  std::vector<ClientRequest> Arrived() const;
  void ClearArrived();
  size_t RequestCount() const;  // since the start or the last ClearArrived
  // Waits until a request for which `predicate` holds has arrived; false after the time-out.
  bool WaitForRequest(const std::function<bool(const ClientRequest&)>& predicate,
                      std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

  // Ends the validity of all session tokens, as their expiry would.
  void ExpireTokens();

  std::vector<Mail> Outbox() const;  // the mails that were sent by sharing albums

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kelo::devservice
