// The page at "/", its calls under "/control/", and the mails at "/outbox". They answer only to
// loopback host names and with the token, so no other web page can reach them.
#pragma once

#include <cstdint>
#include <optional>
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
  std::optional<Reply> Refuse(const ClientRequest& head) const;
  // Answers one that was not refused.
  Reply Serve(const ClientRequest& request) const;

  const std::string& Token() const { return token_; }

 private:
  struct Route;
  static const Route kRoutes[];

  bool IsAddressed(const ClientRequest& head) const;
  bool HasToken(const ClientRequest& head) const;

  Reply GetPage(const ClientRequest& request) const;
  Reply GetOutbox(const ClientRequest& request) const;
  Reply GetAccount(const ClientRequest& request) const;
  Reply GetScreen(const ClientRequest& request) const;
  Reply PostReset(const ClientRequest& request) const;
  Reply GetLog(const ClientRequest& request) const;
  Reply GetRecord(const ClientRequest& request) const;
  Reply GetFaults(const ClientRequest& request) const;
  Reply PostFaults(const ClientRequest& request) const;
  Reply DeleteFaults(const ClientRequest& request) const;
  Reply ChangeFaults(const nlohmann::ordered_json& wish) const;

  Parts parts_;
  std::vector<std::string> hosts_;  // what a Host header may say
  std::string token_;
  const std::string instance_;  // tells this run of the service from another at the same port
};

}  // namespace kelo::devservice
