// What is asked of libcurl about URLs, answers and sockets, and what its errors mean.
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

// A part of a URL as libcurl reads it; empty where there is none.
std::string PartOfURL(const std::string& url, CURLUPart part, unsigned flags = 0) {
  CurlURL parsed(curl_url());
  if (!parsed) throw std::bad_alloc();
  char* raw = nullptr;
  CURLUcode code = curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME);
  if (code == CURLUE_OK) code = curl_url_get(parsed.get(), part, &raw, flags);
  const CurlText text(raw);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLUE_OK ? text.get() : std::string();
}

int ErrorOfConnect(long systemError) {
  if (systemError == ECONNREFUSED) return URLError::CannotConnectToHost;
  return systemError == ETIMEDOUT ? URLError::TimedOut : URLError::NoWayToHost;
}

}  // namespace

URLScheme SchemeOfURL(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return URLScheme::Malformed;
  const std::string name = PartOfURL(std::string(text), CURLUPART_SCHEME);
  if (name.empty()) return URLScheme::Malformed;
  if (name != "http" && name != "https") return URLScheme::Unsupported;
  // libcurl would put up with other numbers of slashes.
  const std::string_view rest = text.substr(name.size());
  if (!rest.starts_with("://") || rest.starts_with(":///")) return URLScheme::Malformed;
  return name == "http" ? URLScheme::HTTP : URLScheme::HTTPS;
}

std::string HostOfURL(const std::string& text) {
  const std::string name = PartOfURL(text, CURLUPART_HOST);
  return name.starts_with('[') ? name.substr(1, name.size() - 2) : name;
}

std::string OriginOfURL(const std::string& text) {
  const std::string port = PartOfURL(text, CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
  return PartOfURL(text, CURLUPART_SCHEME) + "://" +
         PartOfURL(text, CURLUPART_HOST, CURLU_PUNYCODE) + (port.empty() ? "" : ":" + port);
}

bool IsWellFormedURL(std::string_view text) {
  return SchemeOfURL(text) != URLScheme::Malformed;
}

bool MayRedirect(URLScheme from, URLScheme to) {
  return to == URLScheme::HTTPS || (to == URLScheme::HTTP && from == URLScheme::HTTP);
}

int ProxyRefusal(CURL* easy) {
  const long status = GetCurlInfo<CURLINFO_HTTP_CONNECTCODE>(easy, 0L);
  return status / 100 == 2 ? 0 : static_cast<int>(status);
}

int URLErrorFromCurl(CURL* easy, CURLcode code) {
  if (ProxyRefusal(easy) != 0 && code != CURLE_OPERATION_TIMEDOUT) return URLError::ProxyFailure;
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return URLError::CannotFindHost;
    case CURLE_OPERATION_TIMEDOUT:
      return URLError::TimedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_FAIL_REWIND:
      return URLError::ConnectionLost;
    case CURLE_COULDNT_CONNECT:
      return ErrorOfConnect(GetCurlInfo<CURLINFO_OS_ERRNO>(easy, 0L));
    case CURLE_PROXY:
      return URLError::ProxyFailure;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return URLError::SecureConnectionFailed;
    case CURLE_UNSUPPORTED_PROTOCOL:  // the URL's was looked at before
    case CURLE_WEIRD_SERVER_REPLY:
      return URLError::CannotParse;
    case CURLE_BAD_CONTENT_ENCODING:
      return URLError::CannotDecode;
    default:
      return URLError::Unknown;
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

std::string_view LocationOf(CURL* easy) {
  const char* const value = FindCurlHeader(easy, "Location");
  const std::string_view text(value == nullptr ? "" : value);
  constexpr const char* kBlank = " \t\r";  // libcurl may leave the end of a line without a value
  const size_t begin = std::min(text.find_first_not_of(kBlank), text.size());
  return text.substr(begin, text.find_last_not_of(kBlank) + 1 - begin);
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
