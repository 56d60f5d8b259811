// A request as libcurl sees it: what it is told, what it asks for, and what its end means.
#include "platform/URLLoadingConnection.h"

#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <utility>

#include "platform/Environment.h"

namespace kelo {
namespace {

constexpr int kMaxRedirects = 10;
constexpr size_t kMaxHeadBytes = size_t{300} << 10;
constexpr long kOldestReusedConnection = 20;  // seconds; an older one has probably been closed
constexpr long kReceiveBufferSize = 65536;
constexpr long kSendBufferSize = 524288;
constexpr uint64_t kMaxBytesSentAtOnce = 65536;

uint64_t LengthOf(const URLBody& body) {
  if (const auto* bytes = std::get_if<std::string_view>(&body)) return bytes->size();
  if (const auto* file = std::get_if<URLFileBody>(&body)) return file->length;
  return 0;
}

// Reads some bytes at a position; -1 on failure or at the end of the file.
ssize_t ReadAt(int descriptor, char* buffer, size_t size, uint64_t position) {
  ssize_t got;
  do {
    got = pread(descriptor, buffer, size, static_cast<off_t>(position));
  } while (got < 0 && errno == EINTR);
  return got > 0 ? got : -1;
}

bool IsRedirect(long status) {
  constexpr long statuses[] = {301, 302, 303, 307, 308};
  return std::ranges::find(statuses, status) != std::end(statuses);
}

// The first header of that name in the answer, or null.
const char* FindHeader(CURL* easy, const char* name) {
  curl_header* header = nullptr;
  const bool found = curl_easy_header(easy, name, 0, CURLH_HEADER, -1, &header) == CURLHE_OK;
  return found ? header->value : nullptr;
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
  if (scheme_ == URLScheme::Malformed || !HeadersAreSendable()) {
    refusedWith_ = kURLError_BadURL;
  } else if (scheme_ == URLScheme::Unsupported) {
    refusedWith_ = kURLError_UnsupportedURL;
  } else {
    headers_ = MakeHeaders();
    BeginHop();
  }
  handles_.current = this;
}

CurlConnection::~CurlConnection() {
  Detach();
  if (!endedWell_) handles_.suspect = true;
  if (handles_.current == this) handles_.current = nullptr;
}

// ---- What libcurl is told ----

bool CurlConnection::HasHeader(std::string_view name) const {
  return std::ranges::any_of(
      request_.headers,
      [&](const URLHeader& header) {
        return header.name.size() == name.size() &&
               strncasecmp(header.name.data(), name.data(), name.size()) == 0;
      });
}

bool CurlConnection::HeadersAreSendable() const {
  const std::string_view lineEnds("\r\n\0", 3);
  return std::ranges::none_of(request_.headers, [&](const URLHeader& header) {
    return header.name.empty() || header.name.find_first_of(lineEnds) != std::string::npos ||
           header.value.find_first_of(lineEnds) != std::string::npos;
  });
}

CurlList CurlConnection::MakeHeaders() const {
  CurlList list;
  const auto append = [&list](const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
  };
  // A name with nothing behind its colon takes away a header that libcurl would add.
  append("Expect:");
  if (!HasHeader("Content-Type")) append("Content-Type:");
  for (const URLHeader& header : request_.headers)
    append(header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
  return list;
}

void CurlConnection::BeginHop() {
  hop_.emplace(Hop{.easy = CurlEasy(curl_easy_init()),
                   .watch = SilenceWatch(request_.timeout, bodyLength_)});
  if (!hop_->easy) throw std::bad_alloc();
  SetOptions();
  SetMethodAndBody();
  CheckCurl(curl_multi_add_handle(handles_.multi.get(), hop_->easy.get()));
  hop_->attached = true;
}

void CurlConnection::SetOptions() {
  CURL* easy = hop_->easy.get();
  SetCurlOption<CURLOPT_SHARE>(easy, handles_.share.get());
  SetCurlOption<CURLOPT_ERRORBUFFER>(easy, hop_->words.data());
  SetCurlOption<CURLOPT_URL>(easy, url_.c_str());
  SetCurlOption<CURLOPT_PATH_AS_IS>(easy, 1L);
  SetCurlOption<CURLOPT_PROTOCOLS_STR>(easy, "http,https");
  SetCurlOption<CURLOPT_HTTP_VERSION>(easy, static_cast<long>(CURL_HTTP_VERSION_1_1));
  if (HasMoreRightsThanCaller()) SetCurlOption<CURLOPT_PROXY>(easy, "");
  SetCurlOption<CURLOPT_SUPPRESS_CONNECT_HEADERS>(easy, 1L);
  SetCurlOption<CURLOPT_NOSIGNAL>(easy, 1L);
  SetCurlOption<CURLOPT_QUICK_EXIT>(easy, 1L);  // giving up never waits for the resolver
  SetCurlOption<CURLOPT_MAXAGE_CONN>(easy, kOldestReusedConnection);
  SetCurlOption<CURLOPT_FRESH_CONNECT>(easy, request_.freshConnection ? 1L : 0L);
  SetCurlOption<CURLOPT_CONNECTTIMEOUT>(
      easy, static_cast<long>(std::min<uint32_t>(request_.timeout, INT_MAX / 1000)));
  SetCurlOption<CURLOPT_BUFFERSIZE>(easy, kReceiveBufferSize);
  SetCurlOption<CURLOPT_HTTPHEADER>(easy, headers_.get());
  if (!HasHeader("Accept-Encoding")) SetCurlOption<CURLOPT_ACCEPT_ENCODING>(easy, "");
  SetCurlOption<CURLOPT_HEADERFUNCTION>(easy, &HeaderCallback);
  SetCurlOption<CURLOPT_HEADERDATA>(easy, static_cast<void*>(this));
  SetCurlOption<CURLOPT_WRITEFUNCTION>(easy, &DataCallback);
  SetCurlOption<CURLOPT_WRITEDATA>(easy, static_cast<void*>(this));
  SetCurlOption<CURLOPT_PREREQFUNCTION>(easy, &SendingCallback);
  SetCurlOption<CURLOPT_PREREQDATA>(easy, static_cast<void*>(this));
  handles_.sockets.Watch(easy);
}

void CurlConnection::SetMethodAndBody() {
  CURL* easy = hop_->easy.get();
  if (request_.method == "GET") {
    SetCurlOption<CURLOPT_HTTPGET>(easy, 1L);
    return;
  }
  const auto* bytes = std::get_if<std::string_view>(&request_.body);
  if (bytes != nullptr && !bytes->empty() && bytes->size() <= kMaxBytesSentAtOnce) {
    // Together with the head, so that the peer has it all at once; it counts as gone from now on.
    SetCurlOption<CURLOPT_POSTFIELDSIZE_LARGE>(easy, static_cast<curl_off_t>(bytes->size()));
    SetCurlOption<CURLOPT_POSTFIELDS>(easy, bytes->data());
    SetCurlOption<CURLOPT_CUSTOMREQUEST>(easy, request_.method.c_str());
    hop_->bodyRead = bodyLength_;
    return;
  }
  if (request_.method == "POST") {
    SetCurlOption<CURLOPT_POST>(easy, 1L);
    SetCurlOption<CURLOPT_POSTFIELDSIZE_LARGE>(easy, static_cast<curl_off_t>(bodyLength_));
  } else {
    SetCurlOption<CURLOPT_UPLOAD>(easy, 1L);
    SetCurlOption<CURLOPT_INFILESIZE_LARGE>(easy, static_cast<curl_off_t>(bodyLength_));
    SetCurlOption<CURLOPT_CUSTOMREQUEST>(easy, request_.method.c_str());
  }
  if (bodyLength_ > kSendBufferSize)
    SetCurlOption<CURLOPT_UPLOAD_BUFFERSIZE>(easy, kSendBufferSize);
  SetCurlOption<CURLOPT_READFUNCTION>(easy, &BodyCallback);
  SetCurlOption<CURLOPT_READDATA>(easy, static_cast<void*>(this));
  SetCurlOption<CURLOPT_SEEKFUNCTION>(easy, &RewindCallback);
  SetCurlOption<CURLOPT_SEEKDATA>(easy, static_cast<void*>(this));
}

// ---- The course of a request ----

void CurlConnection::Advance(std::chrono::milliseconds slice) {
  if (ended_) return;
  if (refusedWith_ != 0) return Fail(refusedWith_, "no usable URL or header");
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
  while (const CURLMsg* message = curl_multi_info_read(multi, &left))
    if (message->msg == CURLMSG_DONE) return FinishHop(message->data.result);
  if (IsSilentTooLong()) return Fail(kURLError_TimedOut, "nothing moved for too long");
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
  if (hop_->redirecting) return FollowRedirect();
  if (code == CURLE_OK && !hop_->headComplete)
    return Fail(kURLError_ConnectionLost, "the answer's head was cut");
  if (hop_->repeatRefused) code = CURLE_SEND_FAIL_REWIND;
  if (code != CURLE_OK) {
    return Fail(URLErrorFromCurl(code),
                hop_->words[0] != '\0' ? hop_->words.data() : curl_easy_strerror(code));
  }
  if (!hop_->responded) Respond();
  Detach();
  if (std::exchange(ended_, true)) return;
  endedWell_ = true;
  delegate_.DidFinishLoading();
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
  const char* location = FindHeader(hop_->easy.get(), "Location");
  const std::string target = RedirectTarget(url_, location == nullptr ? "" : location);
  formerHops_ = Info();
  Detach();
  const URLScheme next = SchemeOfURL(target);
  if (++redirects_ > kMaxRedirects) return Fail(kURLError_TooManyRedirects, "too many redirects");
  if (!MayRedirect(scheme_, next)) return Fail(kURLError_RedirectRefused, "a refused redirect");
  url_ = target;
  scheme_ = next;
  BeginHop();
}

void CurlConnection::Fail(int code, std::string words) {
  Detach();
  if (std::exchange(ended_, true)) return;
  failure_ = std::move(words);
  delegate_.DidFailWithError(kURLErrorDomain, code);
}

void CurlConnection::Cancel() {
  ended_ = true;
  if (!insidePerform_) Detach();
}

void CurlConnection::Detach() {
  if (!hop_ || !std::exchange(hop_->attached, false)) return;
  curl_multi_remove_handle(handles_.multi.get(), hop_->easy.get());
}

uint64_t CurlConnection::BodyBytesSent() const {
  if (!hop_) return 0;
  return static_cast<uint64_t>(
      GetCurlInfo<CURLINFO_SIZE_UPLOAD_T>(hop_->easy.get(), curl_off_t{0}));
}

URLTransferInfo CurlConnection::Info() const {
  URLTransferInfo info = formerHops_;
  info.failure = failure_;
  if (!hop_) return info;
  CURL* easy = hop_->easy.get();
  info.sent +=
      static_cast<uint64_t>(GetCurlInfo<CURLINFO_REQUEST_SIZE>(easy, 0L)) + BodyBytesSent();
  info.received += hop_->headBytes + static_cast<uint64_t>(GetCurlInfo<CURLINFO_SIZE_DOWNLOAD_T>(
                                         easy, curl_off_t{0}));
  info.status = static_cast<int>(GetCurlInfo<CURLINFO_RESPONSE_CODE>(easy, 0L));
  info.reused = hop_->reused;
  return info;
}

// ---- What libcurl asks and tells ----

size_t CurlConnection::OnHeaderLine(std::string_view line) {
  Hop& hop = *hop_;
  hop.headBytes += line.size();
  if (ended_ || hop.headBytes > kMaxHeadBytes) return 0;
  const bool endsHead = line == "\r\n" || line == "\n";
  if (!endsHead || hop.headComplete) return line.size();  // what follows the body are trailers
  CURL* easy = hop.easy.get();
  const long status = GetCurlInfo<CURLINFO_RESPONSE_CODE>(easy, 0L);
  if (status / 100 == 1 && status != 101) return line.size();  // an answer is still to come
  hop.headComplete = true;
  hop.redirecting =
      request_.method == "GET" && IsRedirect(status) && FindHeader(easy, "Location") != nullptr;
  if (!hop.redirecting) return line.size();
  // The body of a redirect may have no end. Without one the connection can serve the next hop.
  const char* length = FindHeader(easy, "Content-Length");
  return length != nullptr && std::string_view(length) == "0" ? line.size() : 0;
}

size_t CurlConnection::OnData(const char* data, size_t size) {
  if (ended_) return CURL_WRITEFUNC_ERROR;
  try {
    if (!hop_->responded) Respond();
    if (!ended_) delegate_.DidReceiveData(std::string_view(data, size));
  } catch (...) {
    thrown_ = std::current_exception();
    ended_ = true;
  }
  return ended_ ? CURL_WRITEFUNC_ERROR : size;
}

size_t CurlConnection::OnBodyWanted(char* buffer, size_t size) {
  if (ended_) return CURL_READFUNC_ABORT;
  uint64_t& bodyRead = hop_->bodyRead;
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(size, bodyLength_ - bodyRead));
  if (wanted == 0) return 0;
  size_t got = wanted;
  if (const auto* file = std::get_if<URLFileBody>(&request_.body)) {
    const ssize_t count = ReadAt(file->descriptor, buffer, wanted, bodyRead);
    if (count < 0) return CURL_READFUNC_ABORT;
    got = static_cast<size_t>(count);
  } else {
    std::memcpy(buffer, std::get<std::string_view>(request_.body).data() + bodyRead, wanted);
  }
  bodyRead += got;
  return got;
}

int CurlConnection::OnRewind(curl_off_t offset) {
  return offset == 0 && hop_->bodyRead == 0 ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

int CurlConnection::OnSendingBegins(int localPort) {
  // libcurl doesn't tell which socket serves: it may be that of an earlier request, or one of
  // several that tried to connect.
  hop_->socket = handles_.sockets.WithLocalPort(localPort);
  // libcurl repeats a request whose reused connection died. Only what cannot have had an effect
  // twice may be repeated: a GET, or a request of whose body nothing had left yet.
  const bool first = hop_->attempts++ == 0;
  const bool repeatable = request_.method == "GET" || (bodyLength_ > 0 && hop_->bodyRead == 0);
  hop_->repeatRefused = !first && !repeatable;
  if (hop_->repeatRefused) return CURL_PREREQFUNC_ABORT;
  hop_->reused = GetCurlInfo<CURLINFO_NUM_CONNECTS>(hop_->easy.get(), 0L) == 0;
  return CURL_PREREQFUNC_OK;
}

size_t CurlConnection::HeaderCallback(char* data, size_t size, size_t count, void* self) {
  return static_cast<CurlConnection*>(self)->OnHeaderLine({data, size * count});
}

size_t CurlConnection::DataCallback(char* data, size_t size, size_t count, void* self) {
  return static_cast<CurlConnection*>(self)->OnData(data, size * count);
}

size_t CurlConnection::BodyCallback(char* buffer, size_t size, size_t count, void* self) {
  return static_cast<CurlConnection*>(self)->OnBodyWanted(buffer, size * count);
}

int CurlConnection::RewindCallback(void* self, curl_off_t offset, int) {
  return static_cast<CurlConnection*>(self)->OnRewind(offset);
}

int CurlConnection::SendingCallback(void* self, char*, char*, int, int localPort) {
  return static_cast<CurlConnection*>(self)->OnSendingBegins(localPort);
}

}  // namespace kelo
