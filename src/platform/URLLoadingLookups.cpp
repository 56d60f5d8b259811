// Requests that were given up while their names were looked up, until those lookups have ended.
#include <array>
#include <atomic>

#include "platform/URLLoadingConnection.h"

namespace kelo {
namespace {

// Plain pointers without a lock: a forked process would inherit that, and the end of the process
// destroys nothing.
constinit std::array<std::atomic<CurlHop*>, 4> kept{};

// Lets libcurl look at it. No socket is opened for it any more, so it ends with its lookup.
bool HasEnded(const CurlHop& hop) {
  int count = 0;
  if (curl_multi_perform(hop.multi.get(), &count) != CURLM_OK) return true;
  const CURLMsg* const message = curl_multi_info_read(hop.multi.get(), &count);
  return message != nullptr && message->msg == CURLMSG_DONE;
}

}  // namespace

void KeepGivenUpLookup(std::unique_ptr<CurlHop> hop) {
  for (auto& place : kept) {
    CurlHop* none = nullptr;
    if (!place.compare_exchange_strong(none, hop.get())) continue;
    static_cast<void>(hop.release());
    return;
  }
  curl_multi_remove_handle(hop->multi.get(), hop->easy.get());
}

bool MayLookUp() {
  bool room = false;
  for (auto& place : kept) {
    std::unique_ptr<CurlHop> hop(place.exchange(nullptr));
    if (!hop) {
      room = true;
    } else if (hop->process != getpid()) {  // the thread stayed with the parent
      static_cast<void>(hop.release());
    } else if (HasEnded(*hop)) {
      curl_multi_remove_handle(hop->multi.get(), hop->easy.get());
    } else {
      KeepGivenUpLookup(std::move(hop));
      continue;
    }
    room = true;
  }
  return room;
}

}  // namespace kelo
