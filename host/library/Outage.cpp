// Keeps account of an outage, and finds the words for it.
#include "host/library/Outage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "host/names/Names.h"

namespace kelo::host {
namespace {

using std::chrono::milliseconds;

struct ProxyRow {
  std::string_view cause;
  std::string_view words;
};
constexpr ProxyRow kProxyFailures[] = {
    {"refused", "the proxy {} refuses connections"},
    {"unreachable", "the proxy {} cannot be reached"},
    {"unresolved", "no address was found for the proxy {}"},
    {"proxy", "the proxy {} refuses to pass requests on"},
    {"lost", "requests go through the proxy {}"},  // either may have failed
    {"silent", "requests go through the proxy {}"},
    {"aborted", "requests go through the proxy {}"},
};

std::string WithoutCredentials(std::string proxy) {
  const size_t scheme = proxy.find("://");
  const size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
  const size_t at = proxy.substr(0, proxy.find_first_of("/?#", begin)).rfind('@');
  if (at != std::string::npos && at >= begin) proxy.erase(begin, at + 1 - begin);
  return Shown(proxy);
}

// Which one a request takes, the library decides by its URL.
std::string ProxyNames() {
  std::string names;
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string proxy = WithoutCredentials(value);
    if (names.find(proxy) == std::string::npos) names += (names.empty() ? "" : " or ") + proxy;
  }
  return names;
}

}  // namespace

void Outage::Began(Clock::time_point since) {
  const std::lock_guard lock(mutex_);
  if (!since_) since_ = since;
}

bool Outage::Answered() {
  const std::lock_guard lock(mutex_);
  gaveUp_.clear();
  return std::exchange(since_, std::nullopt).has_value();
}

std::optional<Outage::Clock::time_point> Outage::Since() const {
  const std::lock_guard lock(mutex_);
  return since_;
}

milliseconds Outage::Left() const {
  const auto since = Since();
  if (!since) return patience_;
  const auto lasted = std::chrono::duration_cast<milliseconds>(Clock::now() - *since);
  return std::max(milliseconds(0), patience_ - lasted);
}

void Outage::GiveUp() {
  const std::lock_guard lock(mutex_);
  gaveUp_ = fmt::format("given up: nothing has answered for {}",
                        DurationText(std::chrono::ceil<std::chrono::seconds>(patience_)));
}

void Outage::Blame(const TraceLine& request) {
  const auto row = std::ranges::find(kProxyFailures, request.cause, &ProxyRow::cause);
  std::string words;
  if (request.isProxied && row != std::end(kProxyFailures))
    words = fmt::format(fmt::runtime(row->words), ProxyNames());
  const std::lock_guard lock(mutex_);
  proxy_ = std::move(words);
}

void Outage::Explain(std::string words) {
  const std::lock_guard lock(mutex_);
  gaveUp_ = std::move(words);
}

std::string Outage::Explanation() const {
  const std::lock_guard lock(mutex_);
  return gaveUp_ + (gaveUp_.empty() || proxy_.empty() ? "" : "; ") + proxy_;
}

}  // namespace kelo::host
