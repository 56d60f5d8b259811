// URLs and errors of libcurl.
#include "platform/URLLoadingCurl.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>

#include "platform/URLLoading.h"

namespace kelo {
namespace {

using CurlText = std::unique_ptr<char, CurlDeleter<curl_free>>;

// The port at this end of a connection; -1 for a descriptor that is none.
int LocalPort(curl_socket_t socket) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return -1;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<sockaddr_in&>(address).sin_port);
  if (address.ss_family != AF_INET6) return -1;
  return ntohs(reinterpret_cast<sockaddr_in6&>(address).sin6_port);
}

int ErrorOfConnect(long systemError) {
  if (systemError == ECONNREFUSED) return kURLError_CannotConnectToHost;
  return systemError == ETIMEDOUT ? kURLError_TimedOut : kURLError_NoWayToHost;
}

}  // namespace

URLScheme SchemeOfURL(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return URLScheme::Malformed;
  CurlURL url(curl_url());
  if (!url) throw std::bad_alloc();
  const std::string terminated(text);
  CURLUcode code =
      curl_url_set(url.get(), CURLUPART_URL, terminated.c_str(), CURLU_NON_SUPPORT_SCHEME);
  char* raw = nullptr;
  if (code == CURLUE_OK) code = curl_url_get(url.get(), CURLUPART_SCHEME, &raw, 0);
  const CurlText scheme(raw);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return URLScheme::Malformed;
  const std::string_view name(scheme.get());
  if (name == "https") return URLScheme::HTTPS;
  return name == "http" ? URLScheme::HTTP : URLScheme::Unsupported;
}

std::string HostOfURL(const std::string& text) {
  CurlURL url(curl_url());
  if (!url) throw std::bad_alloc();
  char* raw = nullptr;
  CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_PATH_AS_IS);
  if (code == CURLUE_OK) code = curl_url_get(url.get(), CURLUPART_HOST, &raw, 0);
  const CurlText host(raw);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return {};
  const std::string_view name(host.get());
  return std::string(name.starts_with('[') ? name.substr(1, name.size() - 2) : name);
}

bool IsWellFormedURL(std::string_view text) {
  return SchemeOfURL(text) != URLScheme::Malformed;
}

std::string RedirectTarget(const std::string& url, const char* location) {
  constexpr unsigned flags =
      CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS | CURLU_URLENCODE | CURLU_ALLOW_SPACE;
  CurlURL target(curl_url());
  if (!target) throw std::bad_alloc();
  char* raw = nullptr;
  CURLUcode code = curl_url_set(target.get(), CURLUPART_URL, url.c_str(), CURLU_PATH_AS_IS);
  if (code == CURLUE_OK) code = curl_url_set(target.get(), CURLUPART_URL, location, flags);
  if (code == CURLUE_OK) code = curl_url_get(target.get(), CURLUPART_URL, &raw, 0);
  const CurlText text(raw);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return {};
  // An empty query would be lost on this way.
  const bool emptyQuery = std::string_view(location).ends_with('?');
  return std::string(text.get()) + (emptyQuery ? "?" : "");
}

bool MayRedirect(URLScheme from, URLScheme to) {
  return to == URLScheme::HTTPS || (to == URLScheme::HTTP && from == URLScheme::HTTP);
}

int ProxyRefusal(CURL* easy) {
  const long status = GetCurlInfo<CURLINFO_HTTP_CONNECTCODE>(easy, 0L);
  return status / 100 == 2 ? 0 : static_cast<int>(status);
}

int URLErrorFromCurl(CURL* easy, CURLcode code) {
  if (ProxyRefusal(easy) != 0 && code != CURLE_OPERATION_TIMEDOUT) return kURLError_ProxyFailure;
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return kURLError_CannotFindHost;
    case CURLE_OPERATION_TIMEDOUT:
      return kURLError_TimedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_FAIL_REWIND:
      return kURLError_ConnectionLost;
    case CURLE_COULDNT_CONNECT:
      return ErrorOfConnect(GetCurlInfo<CURLINFO_OS_ERRNO>(easy, 0L));
    case CURLE_PROXY:
      return kURLError_ProxyFailure;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return kURLError_SecureConnectionFailed;
    case CURLE_UNSUPPORTED_PROTOCOL:  // the URL's was looked at before
    case CURLE_WEIRD_SERVER_REPLY:
      return kURLError_CannotParse;
    case CURLE_BAD_CONTENT_ENCODING:
      return kURLError_CannotDecode;
    case CURLE_URL_MALFORMAT:
      return kURLError_BadURL;
    default:
      return kURLError_Unknown;
  }
}

void CheckCurl(CURLcode code) {
  if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
}

void CheckCurl(CURLMcode code) {
  if (code == CURLM_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLM_OK) throw std::runtime_error(curl_multi_strerror(code));
}

void CheckCurl(CURLSHcode code) {
  if (code == CURLSHE_NOMEM) throw std::bad_alloc();
  if (code != CURLSHE_OK) throw std::runtime_error(curl_share_strerror(code));
}

const char* FindCurlHeader(CURL* easy, const char* name) {
  curl_header* header = nullptr;
  const bool found = curl_easy_header(easy, name, 0, CURLH_HEADER, -1, &header) == CURLHE_OK;
  return found ? header->value : nullptr;
}

curl_socket_t CurlSockets::WithLocalPort(int port) const {
  const auto found = std::ranges::find_if(sockets_, [port](const Socket& socket) {
    return socket.IsOpen() && LocalPort(socket.number) == port;
  });
  return found != sockets_.end() ? found->number : CURL_SOCKET_BAD;
}

void CurlSockets::CloseAll() {
  for (const Socket& socket : sockets_)
    if (socket.IsOpen()) close(socket.number);
  sockets_.clear();
}

bool CurlSockets::Socket::IsOpen() const {
  struct stat now {};
  return fstat(number, &now) == 0 && now.st_dev == device && now.st_ino == node;
}

bool CurlSockets::Add(curl_socket_t number) try {
  std::erase_if(sockets_, [](const Socket& socket) { return !socket.IsOpen(); });
  struct stat now {};
  if (fstat(number, &now) != 0) return false;
  sockets_.push_back({number, now.st_dev, now.st_ino});
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace kelo
