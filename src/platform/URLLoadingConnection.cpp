// A request as libcurl sees it: options, callbacks, and what its silence means.
#include "platform/URLLoadingConnection.h"

#include <netinet/in.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <utility>

namespace kelo {
namespace {

constexpr long kOldestReusedConnection = 20;    // seconds; an older one has probably been closed
constexpr uint64_t kDigestionPerGiB = 180'000;  // milliseconds
constexpr long kReceiveBufferSize = 65536;
constexpr long kSendBufferSize = 524288;
constexpr uint64_t kMostBytesSentAtOnce = 65536;

uint64_t LengthOf(const URLBody& body) {
  if (const auto* bytes = std::get_if<std::string_view>(&body)) return bytes->size();
  if (const auto* file = std::get_if<URLFileBody>(&body)) return file->length;
  return 0;
}

/// Reads at a position, everything wanted; -1 on failure or at the end of the file.
ssize_t ReadAt(int descriptor, char* buffer, size_t size, uint64_t position) {
  ssize_t got;
  do {
    got = pread(descriptor, buffer, size, static_cast<off_t>(position));
  } while (got < 0 && errno == EINTR);
  return got > 0 ? got : -1;
}

/// The port at this end of a connection; -1 for a descriptor that is none.
int LocalPort(curl_socket_t socket) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return -1;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<sockaddr_in&>(address).sin_port);
  if (address.ss_family != AF_INET6) return -1;
  return ntohs(reinterpret_cast<sockaddr_in6&>(address).sin6_port);
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
  if (handles_.current == this) handles_.current = nullptr;
}

bool CurlConnection::HasHeader(std::string_view name) const {
  return std::ranges::any_of(request_.headers, [&](const URLHeader& header) {
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
  for (const URLHeader& header : request_.headers) {
    append(header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
  }
  return list;
}

void CurlConnection::SetOptions() {
  CURL* easy = handles_.easy.get();
  SetCurlOption<CURLOPT_URL>(easy, url_.c_str());
  SetCurlOption<CURLOPT_PROTOCOLS_STR>(easy, "http,https");
  SetCurlOption<CURLOPT_HTTP_VERSION>(easy, static_cast<long>(CURL_HTTP_VERSION_1_1));
  SetCurlOption<CURLOPT_NOSIGNAL>(easy, 1L);
  SetCurlOption<CURLOPT_QUICK_EXIT>(easy, 1L);  // giving up never waits for the resolver
  SetCurlOption<CURLOPT_MAXAGE_CONN>(easy, kOldestReusedConnection);
  SetCurlOption<CURLOPT_FRESH_CONNECT>(easy, request_.freshConnection ? 1L : 0L);
  SetCurlOption<CURLOPT_CONNECTTIMEOUT>(
      easy, static_cast<long>(std::min<uint32_t>(request_.timeout, INT_MAX / 1000)));
  SetCurlOption<CURLOPT_BUFFERSIZE>(easy, kReceiveBufferSize);
  SetCurlOption<CURLOPT_HTTPHEADER>(easy, headers_.get());
  if (!HasHeader("Accept-Encoding")) SetCurlOption<CURLOPT_ACCEPT_ENCODING>(easy, "");
  SetCurlOption<CURLOPT_WRITEFUNCTION>(easy, &DataCallback);
  SetCurlOption<CURLOPT_WRITEDATA>(easy, static_cast<void*>(this));
  SetCurlOption<CURLOPT_PREREQFUNCTION>(easy, &SendingCallback);
  SetCurlOption<CURLOPT_PREREQDATA>(easy, static_cast<void*>(this));
  SetCurlOption<CURLOPT_SOCKOPTFUNCTION>(easy, &SocketCallback);
  SetCurlOption<CURLOPT_SOCKOPTDATA>(easy, static_cast<void*>(this));
  SetMethodAndBody();
}

void CurlConnection::SetMethodAndBody() {
  CURL* easy = handles_.easy.get();
  if (request_.method == "GET") {
    SetCurlOption<CURLOPT_HTTPGET>(easy, 1L);
    return;
  }
  const auto* bytes = std::get_if<std::string_view>(&request_.body);
  if (bytes != nullptr && !bytes->empty() && bytes->size() <= kMostBytesSentAtOnce) {
    // Together with the head, so that the peer has it all at once; it counts as gone from now on.
    SetCurlOption<CURLOPT_POSTFIELDSIZE_LARGE>(easy, static_cast<curl_off_t>(bytes->size()));
    SetCurlOption<CURLOPT_POSTFIELDS>(easy, bytes->data());
    SetCurlOption<CURLOPT_CUSTOMREQUEST>(easy, request_.method.c_str());
    bodyRead_ = bodyLength_;
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

size_t CurlConnection::OnData(const char* data, size_t size) {
  if (ended_) return CURL_WRITEFUNC_ERROR;
  try {
    if (!responded_) Respond();
    if (!redirecting_ && !ended_) delegate_.DidReceiveData(std::string_view(data, size));
  } catch (...) {
    thrown_ = std::current_exception();
    ended_ = true;
  }
  return ended_ ? CURL_WRITEFUNC_ERROR : size;
}

size_t CurlConnection::OnBodyWanted(char* buffer, size_t size) {
  if (ended_) return CURL_READFUNC_ABORT;
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(size, bodyLength_ - bodyRead_));
  if (wanted == 0) return 0;
  size_t got = wanted;
  if (const auto* file = std::get_if<URLFileBody>(&request_.body)) {
    const ssize_t count = ReadAt(file->descriptor, buffer, wanted, bodyRead_);
    if (count < 0) return CURL_READFUNC_ABORT;
    got = static_cast<size_t>(count);
  } else {
    std::memcpy(buffer, std::get<std::string_view>(request_.body).data() + bodyRead_, wanted);
  }
  bodyRead_ += got;
  return got;
}

int CurlConnection::OnRewind(curl_off_t offset) {
  return offset == 0 && bodyRead_ == 0 ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

void CurlConnection::OnSocketOpened(curl_socket_t socket) {
  handles_.sockets[handles_.socketsOpened++ % handles_.sockets.size()] = socket;
}

int CurlConnection::OnSendingBegins(int localPort) {
  // libcurl doesn't tell which socket serves: it may be that of an earlier request, or one of
  // several that tried to connect.
  const auto found = std::ranges::find(handles_.sockets, localPort, LocalPort);
  socket_ = found != handles_.sockets.end() ? *found : CURL_SOCKET_BAD;
  // libcurl repeats a request whose reused connection died. Only what cannot have had an effect
  // twice may be repeated: a GET, or a request of whose body nothing had left yet.
  const bool first = attempts_++ == 0;
  const bool repeatable = request_.method == "GET" || (bodyLength_ > 0 && bodyRead_ == 0);
  repeatRefused_ = !first && !repeatable;
  return repeatRefused_ ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

CurlConnection::Movement CurlConnection::MovementSoFar() const {
  CURL* easy = handles_.easy.get();
  Movement movement;
  movement.sent = GetCurlInfo<CURLINFO_SIZE_UPLOAD_T>(easy, curl_off_t{0});
  movement.received = GetCurlInfo<CURLINFO_SIZE_DOWNLOAD_T>(easy, curl_off_t{0}) +
                      GetCurlInfo<CURLINFO_HEADER_SIZE>(easy, 0L);
  // What the system holds has not travelled yet: over a slow line that can be a minute's worth.
  if (socket_ != CURL_SOCKET_BAD && ioctl(socket_, TIOCOUTQ, &movement.queued) != 0) {
    movement.queued = 0;
  }
  return movement;
}

bool CurlConnection::IsSilentTooLong() {
  const auto now = Clock::now();
  const Movement movement = MovementSoFar();
  if (movement != movement_) {
    movement_ = movement;
    lastMovement_ = now;
    return false;
  }
  uint64_t allowed = request_.timeout * uint64_t{1000};
  const bool digesting = bodyLength_ > 0 && bodyRead_ == bodyLength_ && movement.received == 0;
  if (digesting) allowed += (bodyLength_ >> 10) * kDigestionPerGiB >> 20;
  return now - lastMovement_ >= std::chrono::milliseconds(allowed);
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

int CurlConnection::SocketCallback(void* self, curl_socket_t socket, curlsocktype) {
  static_cast<CurlConnection*>(self)->OnSocketOpened(socket);
  return CURL_SOCKOPT_OK;
}

int CurlConnection::SendingCallback(void* self, char*, char*, int, int localPort) {
  return static_cast<CurlConnection*>(self)->OnSendingBegins(localPort);
}

}  // namespace kelo
