// Which proxy a request takes. It is decided here, by the rules of other programs, since libcurl
// does not tell whether it took one.
#include <arpa/inet.h>
#include <strings.h>

#include <array>
#include <charconv>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/Environment.h"
#include "platform/URLLoadingCurl.h"

namespace kelo {
namespace {

// The first of these variables that is set, were it to nothing.
const char* FirstOf(std::initializer_list<const char*> names) {
  for (const char* name : names)
    if (const char* value = TrustedEnvironment(name)) return value;
  return nullptr;
}

// An address in numbers: 4 or 16 bytes; empty where the text is none.
std::string AddressBytes(const std::string& text) {
  std::array<char, sizeof(in6_addr)> bytes{};
  if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1) return {bytes.data(), sizeof(in_addr)};
  if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1) return {bytes.data(), bytes.size()};
  return {};
}

// Whether the address begins with the bits of a network, "10.0.0.0/8".
bool IsWithin(const std::string& address, std::string_view network) {
  const size_t slash = network.find('/');
  const std::string base = AddressBytes(std::string(network.substr(0, slash)));
  if (base.empty() || base.size() != address.size()) return false;
  unsigned bits = static_cast<unsigned>(base.size() * 8);
  if (slash != std::string_view::npos) {
    const char* const end = network.data() + network.size();
    const auto read = std::from_chars(network.data() + slash + 1, end, bits);
    if (read.ec != std::errc() || read.ptr != end || bits > base.size() * 8) return false;
  }
  for (unsigned bit = 0; bit < bits; ++bit)
    if (((base[bit / 8] ^ address[bit / 8]) >> (7 - bit % 8) & 1) != 0) return false;
  return true;
}

// Whether the host is the domain, or in it.
bool IsInDomain(std::string_view host, std::string_view domain) {
  if (domain.starts_with('.')) domain.remove_prefix(1);
  if (domain.empty() || host.size() < domain.size()) return false;
  const size_t at = host.size() - domain.size();
  return strncasecmp(host.data() + at, domain.data(), domain.size()) == 0 &&
         (at == 0 || host[at - 1] == '.');
}

bool NeedsNone(const std::string& host, std::string_view list) {
  const std::string address = AddressBytes(host);
  while (!list.empty()) {
    const std::string_view one = list.substr(0, list.find_first_of(", "));
    list.remove_prefix(one.size() + (one.size() < list.size() ? 1 : 0));
    if (one == "*" || (address.empty() ? IsInDomain(host, one) : IsWithin(address, one)))
      return true;
  }
  return false;
}

}  // namespace

std::string ProxyFor(const std::string& url, URLScheme scheme) {
  // HTTP_PROXY is not asked: a CGI program has it from whoever calls it.
  const char* proxy = scheme == URLScheme::HTTP
                          ? FirstOf({"http_proxy", "all_proxy", "ALL_PROXY"})
                          : FirstOf({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  if (proxy == nullptr || *proxy == '\0') return {};
  const char* const none = FirstOf({"no_proxy", "NO_PROXY"});
  if (none != nullptr && NeedsNone(HostOfURL(url), none)) return {};
  return proxy;
}

}  // namespace kelo
