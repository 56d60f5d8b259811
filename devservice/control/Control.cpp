// Checks who asks, and serves the table of paths that can be asked for.
#include "devservice/control/Control.h"

#include <openssl/crypto.h>
#include <strings.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "devservice/control/AccountJson.h"
#include "devservice/page/Page.h"
#include "devservice/protocol/Digest.h"
#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kPagePath = "/";
constexpr std::string_view kOutboxPath = "/outbox";
constexpr std::string_view kPrefix = "/control/";
constexpr std::string_view kScreenPath = "/control/screen/";
constexpr std::string_view kRecordPath = "/control/log/";
constexpr std::string_view kFaultsPath = "/control/faults";
constexpr std::string_view kNothingElse = "default-src 'none'; frame-ancestors 'none'";
// A page that has just been opened catches up in a few answers instead of one that takes long.
constexpr size_t kMaxRows = 2000;

Reply Guarded(int status, std::string type, std::string body,
              std::string policy = std::string(kNothingElse)) {
  Reply reply;
  reply.status = status;
  reply.body = std::move(body);
  reply.headers = {
      {"Content-Type", std::move(type)},  {"Content-Security-Policy", std::move(policy)},
      {"Cache-Control", "no-store"},      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Referrer-Policy", "no-referrer"}, {"X-Content-Type-Options", "nosniff"}};
  return reply;
}

Reply Words(int status, std::string_view words) {
  return Guarded(status, "text/plain; charset=UTF-8", std::string(words) + "\n");
}

Reply JsonReply(const Json& json, int status = 200) {
  // What came in may be no UTF-8 and is repeated in messages.
  return Guarded(status, "application/json",
                 json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

// The number of a query that is "NAME=NUMBER"; `otherwise` where there is no query.
std::optional<std::uint64_t> QueryNumber(std::string_view query, std::string_view name,
                                         std::uint64_t otherwise) {
  if (query.empty()) return otherwise;
  const bool isNamed = query.starts_with(name) && query.substr(name.size()).starts_with('=');
  return isNamed ? NumberOf(query.substr(name.size() + 1)) : std::nullopt;
}

bool IsSame(std::string_view left, std::string_view right) {
  return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

// Browsers tell where a request comes from. To open the page from elsewhere is fine: it shows
// nothing to where the reader came from.
bool IsFromElsewhere(const ClientRequest& head) {
  const std::string origin = head.Header("Origin");
  if (!origin.empty() && origin != "http://" + head.Header("Host")) return true;
  const std::string site = head.Header("Sec-Fetch-Site");
  if (site.empty() || site == "same-origin" || site == "none") return false;
  return head.path != kPagePath || head.Header("Sec-Fetch-Mode") != "navigate";
}

}  // namespace

struct Control::Route {
  std::string_view verb;
  std::string_view path;  // with a slash at its end: and whatever follows
  Reply (Control::*serve)(const ClientRequest&) const;

  bool Matches(std::string_view asked) const {
    if (path == kPagePath || !path.ends_with('/')) return asked == path;
    return asked.starts_with(path) && asked.size() > path.size();
  }
};

const Control::Route Control::kRoutes[] = {
    {"GET", kPagePath, &Control::GetPage},
    {"GET", kOutboxPath, &Control::GetOutbox},
    {"GET", "/control/account", &Control::GetAccount},
    {"GET", kScreenPath, &Control::GetScreen},
    {"POST", "/control/reset", &Control::PostReset},
    {"GET", "/control/log", &Control::GetLog},
    {"GET", kRecordPath, &Control::GetRecord},
    {"GET", kFaultsPath, &Control::GetFaults},
    {"POST", kFaultsPath, &Control::PostFaults},
    {"DELETE", kFaultsPath, &Control::DeleteFaults},
    {"DELETE", "/control/faults/", &Control::DeleteFaults},
};

Control::Control(const Parts& parts) : parts_(parts), instance_(RandomText()) {
  for (const std::string_view name : {"127.0.0.1", "localhost", "[::1]"}) {
    hosts_.push_back(std::string(name) + ":" + std::to_string(parts.port));
    if (parts.port == 80) hosts_.emplace_back(name);
  }
  const std::lock_guard lock(parts_.api.Mutex());
  token_ = parts_.store.ControlToken();
}

bool Control::Owns(std::string_view path) {
  return path == kPagePath || path == kOutboxPath || path.starts_with(kPrefix);
}

bool Control::IsAddressed(const ClientRequest& head) const {
  const auto isHost = [](const auto& header) {
    return strcasecmp(header.first.c_str(), "Host") == 0;
  };
  return std::ranges::count_if(head.headers, isHost) == 1 &&
         std::ranges::find(hosts_, head.Header("Host")) != hosts_.end();
}

bool Control::HasToken(const ClientRequest& head) const {
  if (head.path == kPagePath) return IsSame(head.query, "token=" + token_);
  return IsSame(head.Header("Authorization"), "Bearer " + token_);
}

std::optional<Reply> Control::Refuse(const ClientRequest& head) const {
  if (!IsAddressed(head)) return Words(403, "This answers to loopback host names only.");
  if (IsFromElsewhere(head)) return Words(403, "This answers to its own page only.");
  if (!HasToken(head))
    return Words(403, "This needs the token: open the page by the URL that the service prints.");
  if (head.announcedSize > kMaxBody) return TooLarge(kMaxBody);
  return std::nullopt;
}

Reply Control::Serve(const ClientRequest& request) const {
  std::string allowed;
  for (const Route& route : kRoutes) {
    if (!route.Matches(request.path)) continue;
    if (route.verb == request.verb) return (this->*route.serve)(request);
    allowed += (allowed.empty() ? "" : ", ") + std::string(route.verb);
  }
  if (allowed.empty()) return Words(404, "There is nothing here.");
  Reply reply = Words(405, "This takes " + allowed + ".");
  reply.headers.emplace_back("Allow", allowed);
  return reply;
}

Reply Control::GetPage(const ClientRequest&) const {
  const std::string nonce = RandomText();
  return Guarded(200, "text/html; charset=UTF-8", PageText(nonce),
                 "default-src 'none'; script-src 'nonce-" + nonce + "'; style-src 'nonce-" + nonce +
                     "'; img-src blob: data:; connect-src 'self'; base-uri 'none'; "
                     "form-action 'none'; frame-ancestors 'none'");
}

Reply Control::GetOutbox(const ClientRequest&) const {
  const std::lock_guard lock(parts_.api.Mutex());
  std::string text;
  for (const Mail& mail : parts_.store.Outbox())
    text += (text.empty() ? "" : "\n") + DescribeMail(mail);
  return Words(200, text.empty() ? "No mail." : text);
}

Reply Control::GetAccount(const ClientRequest& request) const {
  const auto first = static_cast<std::uint64_t>(parts_.account);
  const auto id = QueryNumber(request.query, "id", first);
  if (!id) return Words(400, "The query is id=NUMBER, or nothing.");
  std::unique_lock lock(parts_.api.Mutex());
  const auto accounts = parts_.store.Accounts();
  const auto chosen =
      std::ranges::find(accounts, static_cast<AccountId>(*id), &Credentials::account);
  if (chosen == accounts.end()) return Words(404, "There is no such account.");
  const Json account = AccountJson(parts_.store, chosen->account, parts_.quotaBytes);
  lock.unlock();  // whoever uses the service need not wait for the writing
  return JsonReply(account);
}

Reply Control::GetScreen(const ClientRequest& request) const {
  const std::string id = request.path.substr(kScreenPath.size());
  const auto file = parts_.api.FileOf(std::string(Api::kDownloadPath) + "/screen/" + id);
  if (file.empty()) return Words(404, "There is no such picture.");
  Reply reply = Guarded(200, "application/octet-stream", "");
  reply.file = file;
  return reply;
}

Reply Control::PostReset(const ClientRequest&) const {
  const std::lock_guard lock(parts_.api.Mutex());
  parts_.store.Empty();
  return JsonReply({{"revision", parts_.store.Revision()}});
}

Reply Control::GetLog(const ClientRequest& request) const {
  const auto last = QueryNumber(request.query, "after", 0);
  if (!last) return Words(400, "The query is after=NUMBER, or nothing.");
  Json json = {{"instance", instance_}, {"revision", parts_.store.Revision()}};
  parts_.log.Describe(json, *last, kMaxRows);
  json["faults"] = FaultsJson(parts_.faults);
  return JsonReply(json);
}

Reply Control::GetRecord(const ClientRequest& request) const {
  const auto number = NumberOf(std::string_view(request.path).substr(kRecordPath.size()));
  const Json record = number ? parts_.log.Whole(*number) : Json();
  if (record.is_null()) return Words(404, "There is no such request in the log.");
  return JsonReply(record);
}

Reply Control::GetFaults(const ClientRequest&) const {
  return JsonReply({{"faults", FaultsJson(parts_.faults)}});
}

Reply Control::PostFaults(const ClientRequest& request) const {
  return ChangeFaults(Json::parse(request.body, nullptr, false));
}

// One fault, or all of them.
Reply Control::DeleteFaults(const ClientRequest& request) const {
  const std::string_view rest = std::string_view(request.path).substr(kFaultsPath.size());
  if (rest.empty()) return ChangeFaults({{"remove", "all"}});
  const auto id = NumberOf(rest.substr(1));
  if (!id) return Words(404, "There is no such fault.");
  return ChangeFaults({{"remove", *id}});
}

Reply Control::ChangeFaults(const Json& wish) const {
  try {
    devservice::ChangeFaults(parts_.faults, wish);
    return JsonReply({{"faults", FaultsJson(parts_.faults)}});
  } catch (const FaultError& error) {
    return JsonReply({{"error", {{"message", error.what()}}}}, error.Status());
  }
}

}  // namespace kelo::devservice
