// The course of a request over libcurl: its slices, its redirects, its events and its end.
#include "platform/URLLoadingConnection.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

namespace kelo {
namespace {

constexpr int kMaxRedirects = 10;

uint64_t LengthOf(const URLBody& body) {
  if (const auto* bytes = std::get_if<std::string_view>(&body)) return bytes->size();
  if (const auto* file = std::get_if<URLFileBody>(&body)) return file->length;
  return 0;
}

}  // namespace

CurlConnection::CurlConnection(CurlHandles& handles, const URLRequest& request,
                               URLConnectionDelegate& delegate)
    : handles_(handles),
      request_(request),
      delegate_(delegate),
      bodyLength_(LengthOf(request.body)),
      url_(request.url),
      scheme_(SchemeOfURL(url_)) {
  if (handles_.current != nullptr) handles_.current->Cancel();
  const bool isHTTP = scheme_ == URLScheme::HTTP || scheme_ == URLScheme::HTTPS;
  if (isHTTP && HeadersAreSendable()) BeginHop();
  handles_.current = this;
}

CurlConnection::~CurlConnection() {
  Detach();
  if (!endedWell_) handles_.suspect = true;
  if (handles_.current == this) handles_.current = nullptr;
}

void CurlConnection::BeginHop() {
  hop_ = std::make_unique<CurlHop>(CurlHop{.owner = this,
                                           .multi = nullptr,
                                           .share = handles_.share,
                                           .headers = MakeHeaders(),
                                           .watch = SilenceWatch(request_.timeout, bodyLength_)});
  if (!hop_->easy) throw std::bad_alloc();
  SetOptions();
  SetMethodAndBody();
}

bool CurlConnection::AttachHop() {
  if (hop_->attached) return true;
  hop_->mayLookUp = MayLookUp();
  if (needsLookup_ && !hop_->mayLookUp) return false;
  CheckCurl(curl_multi_add_handle(handles_.multi.get(), hop_->easy.get()));
  return hop_->attached = true;
}

void CurlConnection::Advance(std::chrono::milliseconds slice) {
  if (ended_) return;
  if (!hop_) return Fail(URLError::Unknown, "no usable URL or header");
  CURLM* multi = handles_.multi.get();
  int running = 0;
  insidePerform_ = true;
  const CURLMcode performed = AttachHop() ? curl_multi_perform(multi, &running) : CURLM_OK;
  insidePerform_ = false;
  if (ended_) {
    Detach();
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    return;
  }
  CheckCurl(performed);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi, &left))
    if (message->msg == CURLMSG_DONE) return FinishHop(message->data.result);
  if (IsSilentTooLong()) return Fail(URLError::TimedOut, "nothing moved for too long");
  int active = 0;
  CheckCurl(curl_multi_poll(multi, nullptr, 0, static_cast<int>(slice.count()), &active));
  if (active > 0) hop_->watch.Moved();
}

bool CurlConnection::IsSilentTooLong() {
  CURL* easy = hop_->easy.get();
  Movement movement;
  movement.sent = GetCurlInfo<CURLINFO_SIZE_UPLOAD_T>(easy, curl_off_t{0});
  movement.received = GetCurlInfo<CURLINFO_SIZE_DOWNLOAD_T>(easy, curl_off_t{0}) +
                      GetCurlInfo<CURLINFO_HEADER_SIZE>(easy, 0L);
  if (hop_->socket != CURL_SOCKET_BAD && ioctl(hop_->socket, TIOCOUTQ, &movement.queued) != 0)
    movement.queued = 0;
  return hop_->watch.IsTooLong(movement, hop_->bodyRead == bodyLength_);
}

void CurlConnection::FinishHop(CURLcode code) {
  hop_->lookingUp = false;
  if (hop_->redirecting) return FollowRedirect();
  if (hop_->lookupRefused) {
    Detach();
    needsLookup_ = true;
    return BeginHop();
  }
  if (code == CURLE_OK && !hop_->headComplete)
    return Fail(URLError::ConnectionLost, "the answer's head was cut");
  if (hop_->repeatRefused) code = CURLE_SEND_FAIL_REWIND;
  if (code != CURLE_OK) {
    return Fail(ErrorOf(code),
                hop_->words[0] != '\0' ? hop_->words.data() : curl_easy_strerror(code));
  }
  if (!hop_->responded) Respond();
  Detach();
  if (std::exchange(ended_, true)) return;
  endedWell_ = true;
  delegate_.DidFinishLoading();
}

int CurlConnection::ErrorOf(CURLcode code) const {
  // A line of the head for which libcurl has no room is a lack of memory to it, or from 8.6 on
  // CURLE_TOO_LARGE. It says the same of a request that is too long, before it has sent any of it.
  constexpr int kTooLarge = 100;
  const bool noRoom = code == kTooLarge || code == CURLE_OUT_OF_MEMORY;
  const bool isSent = GetCurlInfo<CURLINFO_REQUEST_SIZE>(hop_->easy.get(), 0L) > 0;
  if (hop_->headTooLong || (noRoom && isSent && !hop_->headComplete)) return URLError::TooLong;
  return URLErrorFromCurl(hop_->easy.get(), code);
}

void CurlConnection::Respond() {
  CURL* easy = hop_->easy.get();
  hop_->responded = true;
  const long status = GetCurlInfo<CURLINFO_RESPONSE_CODE>(easy, 0L);
  const auto length = GetCurlInfo<CURLINFO_CONTENT_LENGTH_DOWNLOAD_T>(easy, curl_off_t{-1});
  delegate_.DidReceiveResponse(
      static_cast<int>(status),
      length < 0 ? std::nullopt : std::optional(static_cast<uint64_t>(length)));
}

void CurlConnection::FollowRedirect() {
  const std::string target = RedirectTarget(url_, LocationOf(hop_->easy.get()));
  formerHops_ = Info();
  Detach();
  hop_.reset();
  const URLScheme next = SchemeOfURL(target);
  if (++redirects_ > kMaxRedirects) return Fail(URLError::RedirectRefused, "too many redirects");
  if (!MayRedirect(scheme_, next)) return Fail(URLError::RedirectRefused, "a refused redirect");
  url_ = target;
  scheme_ = next;
  BeginHop();
}

void CurlConnection::Fail(int code, std::string words) {
  Detach();
  if (std::exchange(ended_, true)) return;
  error_ = code;
  failure_ = std::move(words);
  delegate_.DidFailWithError(kURLErrorDomain, code);
}

void CurlConnection::Cancel() {
  ended_ = true;
  handles_.CloseInherited();
  if (!insidePerform_) Detach();
}

void CurlConnection::Detach() {
  if (!hop_ || !std::exchange(hop_->attached, false)) return;
  handles_.CloseInherited();
  if (!hop_->lookingUp) {
    curl_multi_remove_handle(handles_.multi.get(), hop_->easy.get());
    return;
  }
  formerHops_ = Info();
  // libcurl would give it up as well, and its thread would be forgotten.
  static_cast<void>(
      curl_easy_setopt(hop_->easy.get(), CURLOPT_CONNECTTIMEOUT, long{INT_MAX / 1000}));
  hop_->owner = nullptr;
  hop_->multi = std::move(handles_.multi);
  KeepGivenUpLookup(std::move(hop_));
}

uint64_t CurlConnection::BodyBytesSent() const {
  if (!hop_) return 0;
  return static_cast<uint64_t>(
      GetCurlInfo<CURLINFO_SIZE_UPLOAD_T>(hop_->easy.get(), curl_off_t{0}));
}

URLTransferInfo CurlConnection::Info() const {
  URLTransferInfo info = formerHops_;
  info.error = error_;
  info.failure = failure_;
  if (!hop_) return info;
  CURL* easy = hop_->easy.get();
  const auto count = [](curl_off_t bytes) { return static_cast<uint64_t>(bytes); };
  if (hop_->attempts > 0)
    info.sent += count(GetCurlInfo<CURLINFO_REQUEST_SIZE>(easy, 0L)) + BodyBytesSent();
  info.received +=
      hop_->headBytes + count(GetCurlInfo<CURLINFO_SIZE_DOWNLOAD_T>(easy, curl_off_t{0}));
  info.status = static_cast<int>(GetCurlInfo<CURLINFO_RESPONSE_CODE>(easy, 0L));
  if (info.status == 0) info.status = ProxyRefusal(easy);
  info.reused = hop_->reused;
  info.proxied = hop_->proxied;
  AddPhases(info.phases);
  return info;
}

void CurlConnection::AddPhases(URLPhases& phases) const {
  using Clock = CurlHop::Clock;
  const CurlHop& hop = *hop_;
  const std::chrono::microseconds lookup(
      GetCurlInfo<CURLINFO_NAMELOOKUP_TIME_T>(hop.easy.get(), curl_off_t{0}));
  const bool lookedUp = lookup.count() > 0 || hop.attempts > 0;
  const Clock::time_point ends[kURLPhases] = {lookedUp ? hop.begun + lookup : Clock::time_point(),
                                              hop.sendingBegan,
                                              hop.bodyLeft,
                                              hop.answerBegan,
                                              {}};
  const auto now = Clock::now();
  Clock::time_point begun = hop.begun;
  for (size_t phase = 0; phase < kURLPhases; ++phase) {
    // What has not ended lasts until now. An answer may come before the body has left.
    const bool hasEnded = ends[phase] != Clock::time_point();
    const auto end = hasEnded ? std::clamp(ends[phase], begun, now) : now;
    phases[phase] += std::chrono::duration_cast<std::chrono::milliseconds>(end - begun);
    begun = end;
  }
}

}  // namespace kelo
