// Looking up a header, and writing a head.
#include "devservice/http/Message.h"

#include <strings.h>

#include <algorithm>
#include <iterator>

namespace kelo::devservice {
namespace {

struct StatusText {
  int status;
  std::string_view text;
};
constexpr StatusText kStatusTexts[] = {
    {200, "OK"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {408, "Request Timeout"},
    {413, "Payload Too Large"},
    {500, "Internal Server Error"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
};

std::string_view TextOfStatus(int status) {
  const auto* found = std::ranges::find(kStatusTexts, status, &StatusText::status);
  return found == std::end(kStatusTexts) ? "Status" : found->text;
}

bool HasHeader(const Reply& reply, const char* name) {
  return std::ranges::any_of(
      reply.headers,
      [&](const auto& header) { return strcasecmp(header.first.c_str(), name) == 0; });
}

std::uint64_t ClaimedLength(const Reply& reply, std::uint64_t length) {
  if (reply.declaredLength) return *reply.declaredLength;
  const auto claimed = static_cast<std::int64_t>(length) + reply.addedLength;
  return static_cast<std::uint64_t>(std::max<std::int64_t>(claimed, 0));
}

}  // namespace

std::string LoggedRequest::Header(std::string_view name) const {
  const std::string wanted(name);
  for (const auto& [header, value] : headers)
    if (strcasecmp(header.c_str(), wanted.c_str()) == 0) return value;
  return {};
}

bool HasNoBody(int status) {
  return status == 204 || status == 304;
}

std::string HeadOf(const Reply& reply, std::uint64_t length) {
  std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
  head += TextOfStatus(reply.status);
  head += "\r\n";
  for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
  if (!HasHeader(reply, "Content-Type")) head += "Content-Type: text/xml; charset=UTF-8\r\n";
  if (!HasNoBody(reply.status) && !HasHeader(reply, "Content-Length") &&
      !HasHeader(reply, "Transfer-Encoding"))
    head += "Content-Length: " + std::to_string(ClaimedLength(reply, length)) + "\r\n";
  return head + "\r\n";
}

}  // namespace kelo::devservice
