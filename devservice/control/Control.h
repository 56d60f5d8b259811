// The page at "/", its calls under "/control/", and the mails at "/outbox". They answer only to
// loopback host names and with the token, so no other web page can reach them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "devservice/control/RequestLog.h"
#include "devservice/faults/Faults.h"
#include "devservice/http/Message.h"
#include "devservice/methods/Api.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {

// Thread-safe.
class Control {
 public:
  // The parts of the service that are shown; they outlive this.
  struct Parts {
    Api& api;
    Store& store;  // touched under the mutex of `api`
    RequestLog& log;
    Faults& faults;
    AccountId account = 0;
    std::uint64_t quotaBytes = 0;
    int port = 0;
  };
  // How many bytes a request's body may have.
  static constexpr std::uint64_t kMaxBody = 64 << 10;

  explicit Control(const Parts& parts);

  // Whether a request is for this, whatever its method.
  static bool Owns(std::string_view path);

  // What is wrong with a request, known before its body is read: who asks, and how much it sends.
  std::optional<Reply> Refuse(const LoggedRequest& head) const;
  // Answers one that was not refused.
  Answer Serve(const LoggedRequest& request) const;

  const std::string& Token() const { return token_; }

 private:
  struct Route;
  static const Route kRoutes[];

  bool IsAddressed(const LoggedRequest& head) const;
  bool HasToken(const LoggedRequest& head) const;

  Answer GetPage(const LoggedRequest& request) const;
  Answer GetOutbox(const LoggedRequest& request) const;
  Answer GetAccount(const LoggedRequest& request) const;
  Answer GetScreen(const LoggedRequest& request) const;
  Answer PostReset(const LoggedRequest& request) const;
  Answer GetLog(const LoggedRequest& request) const;
  Answer GetRecord(const LoggedRequest& request) const;
  Answer GetFaults(const LoggedRequest& request) const;
  Answer PostFaults(const LoggedRequest& request) const;
  Answer DeleteFaults(const LoggedRequest& request) const;
  Answer ChangeFaults(std::string_view wish) const;

  Parts parts_;
  std::vector<std::string> hosts_;  // what a Host header may say
  std::string token_;
  const std::string instance_;  // tells this run of the service from another at the same port
};

}  // namespace kelo::devservice
