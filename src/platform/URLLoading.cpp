// The loader, and the course of a connection: hops, events, end.
#include "platform/URLLoading.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/URLLoadingConnection.h"

namespace kelo {
namespace {

constexpr int kMostRedirects = 10;
constexpr long kMostIdleConnections = 4;

bool IsRedirect(long status) {
  constexpr long statuses[] = {301, 302, 303, 307, 308};
  return std::ranges::find(statuses, status) != std::end(statuses);
}

}  // namespace

void CurlConnection::BeginHop() {
  responded_ = redirecting_ = repeatRefused_ = false;
  attempts_ = 0;
  bodyRead_ = 0;
  socket_ = CURL_SOCKET_BAD;
  movement_ = {};
  lastMovement_ = Clock::now();
  curl_easy_reset(handles_.easy.get());
  SetOptions();
  CheckCurl(curl_multi_add_handle(handles_.multi.get(), handles_.easy.get()));
  attached_ = true;
}

void CurlConnection::Cancel() {
  ended_ = true;
  if (!insidePerform_) Detach();
}

void CurlConnection::Detach() {
  if (!std::exchange(attached_, false)) return;
  curl_multi_remove_handle(handles_.multi.get(), handles_.easy.get());
}

void CurlConnection::Advance(std::chrono::milliseconds slice) {
  if (ended_) return;
  if (refusedWith_ != 0) return Fail(refusedWith_);
  CURLM* multi = handles_.multi.get();
  int running = 0;
  insidePerform_ = true;
  const CURLMcode performed = curl_multi_perform(multi, &running);
  insidePerform_ = false;
  if (ended_) {
    Detach();
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    return;
  }
  CheckCurl(performed);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
    if (message->msg == CURLMSG_DONE) return FinishHop(message->data.result);
  }
  if (IsSilentTooLong()) return Fail(kURLError_TimedOut);
  int active = 0;
  CheckCurl(curl_multi_poll(multi, nullptr, 0, static_cast<int>(slice.count()), &active));
  // Also what the counters don't show moves: a handshake, half a header line.
  if (active > 0) lastMovement_ = Clock::now();
}

void CurlConnection::FinishHop(CURLcode code) {
  if (code == CURLE_OK && !responded_) Respond();
  if (redirecting_ && code == CURLE_OK) return FollowRedirect();
  if (repeatRefused_) code = CURLE_SEND_FAIL_REWIND;
  if (code != CURLE_OK) return Fail(URLErrorFromCurl(code));
  Detach();
  if (!std::exchange(ended_, true)) delegate_.DidFinishLoading();
}

void CurlConnection::Respond() {
  CURL* easy = handles_.easy.get();
  responded_ = true;
  const long status = GetCurlInfo<CURLINFO_RESPONSE_CODE>(easy, 0L);
  curl_header* location = nullptr;
  redirecting_ = request_.method == "GET" && IsRedirect(status) &&
                 curl_easy_header(easy, "Location", 0, CURLH_HEADER, -1, &location) == CURLHE_OK;
  if (redirecting_) return;
  const auto length = GetCurlInfo<CURLINFO_CONTENT_LENGTH_DOWNLOAD_T>(easy, curl_off_t{-1});
  delegate_.DidReceiveResponse(
      static_cast<int>(status),
      length < 0 ? std::nullopt : std::optional(static_cast<uint64_t>(length)));
}

void CurlConnection::FollowRedirect() {
  const char* location = GetCurlInfo<CURLINFO_REDIRECT_URL, char*>(handles_.easy.get(), nullptr);
  const std::string target = location == nullptr ? "" : location;
  Detach();
  const URLScheme next = SchemeOfURL(target);
  if (++redirects_ > kMostRedirects) return Fail(kURLError_TooManyRedirects);
  if (!MayRedirect(scheme_, next)) return Fail(kURLError_RedirectRefused);
  url_ = target;
  scheme_ = next;
  BeginHop();
}

void CurlConnection::Fail(int code) {
  Detach();
  if (!std::exchange(ended_, true)) delegate_.DidFailWithError(kURLErrorDomain, code);
}

namespace {

class CurlLoader final : public URLLoader {
 public:
  CurlLoader() {
    // Never undone: resolver threads of requests that were given up may still use the library.
    static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
    CheckCurl(initialized);
    handles_.multi.reset(curl_multi_init());
    handles_.easy.reset(curl_easy_init());
    if (!handles_.multi || !handles_.easy) throw std::bad_alloc();
    CheckCurl(curl_multi_setopt(handles_.multi.get(), CURLMOPT_MAXCONNECTS, kMostIdleConnections));
  }

  std::unique_ptr<URLConnection> Start(const URLRequest& request,
                                       URLConnectionDelegate& delegate) override {
    return std::make_unique<CurlConnection>(handles_, request, delegate);
  }

  void RunSlice(std::chrono::milliseconds slice) override {
    if (handles_.current != nullptr) return handles_.current->Advance(slice);
    CheckCurl(curl_multi_poll(handles_.multi.get(), nullptr, 0, static_cast<int>(slice.count()),
                              nullptr));
  }

  void WakeUp() override { curl_multi_wakeup(handles_.multi.get()); }

 private:
  CurlHandles handles_;
};

}  // namespace

std::unique_ptr<URLLoader> MakeURLLoader() {
  return std::make_unique<CurlLoader>();
}

}  // namespace kelo
