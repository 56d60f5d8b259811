// What URL loading needs of libcurl in typed form: handles with owners, options and questions whose
// value types are checked when compiling, and the translation of its errors. Included by the
// URLLoading sources only.
#pragma once

#include <curl/curl.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kelo {

template <auto free>
struct CurlDeleter {
  template <typename Handle>
  void operator()(Handle* handle) const {
    free(handle);
  }
};
using CurlEasy = std::unique_ptr<CURL, CurlDeleter<curl_easy_cleanup>>;
using CurlMulti = std::unique_ptr<CURLM, CurlDeleter<curl_multi_cleanup>>;
using CurlShare = std::unique_ptr<CURLSH, CurlDeleter<curl_share_cleanup>>;
using CurlList = std::unique_ptr<curl_slist, CurlDeleter<curl_slist_free_all>>;
using CurlURL = std::unique_ptr<CURLU, CurlDeleter<curl_url_cleanup>>;

enum class URLScheme { Malformed, Unsupported, HTTP, HTTPS };

// The scheme of a URL. Throws std::bad_alloc.
URLScheme SchemeOfURL(std::string_view text);

// The host of a URL, an IPv6 address without its brackets; empty where there is none. Throws
// std::bad_alloc.
std::string HostOfURL(const std::string& text);

// "http://host:port" of a URL in ASCII, without a port that goes without saying. Throws
// std::bad_alloc.
std::string OriginOfURL(const std::string& text);

// What stands in the request line for a well-formed URL: its path and query as they are or, where a
// proxy is to choose the host, origin, path and query. Throws std::bad_alloc.
std::string RequestTarget(const std::string& url, bool forProxy);

// Where a redirect of a well-formed URL to `location` leads; that need not be one. Throws
// std::bad_alloc.
std::string RedirectTarget(std::string_view url, std::string_view location);

// Whether a redirect may lead from one to the other: up or level, never down, never elsewhere.
bool MayRedirect(URLScheme from, URLScheme to);

// The URL loading error code for a transfer and its result, which is not CURLE_OK.
int URLErrorFromCurl(CURL* easy, CURLcode code);

// The status by which a proxy refused to open a tunnel; 0: none did.
int ProxyRefusal(CURL* easy);

// The proxy that the environment names for a URL; empty: none. Throws std::bad_alloc.
std::string ProxyFor(const std::string& url, URLScheme scheme);

// Throws unless the call succeeded: std::bad_alloc when out of memory, std::runtime_error for what
// this library could not do at all.
void CheckCurl(CURLcode code);
void CheckCurl(CURLMcode code);
void CheckCurl(CURLSHcode code);

// Sets an option. libcurl reads its variadic argument by the option's number range, so a value of
// another width would be misread silently.
template <CURLoption option, typename Value>
void SetCurlOption(CURL* easy, Value value) {
  constexpr int kind = static_cast<int>(option) / 10000;
  static_assert(kind != 0 || std::is_same_v<Value, long>);
  static_assert((kind != 1 && kind != 2) || std::is_pointer_v<Value>);
  static_assert(kind != 3 || std::is_same_v<Value, curl_off_t>);
  CheckCurl(curl_easy_setopt(easy, option, value));
}

// Asks about a transfer; `otherwise` where libcurl does not know.
template <CURLINFO info, typename Value>
Value GetCurlInfo(CURL* easy, Value otherwise) {
  constexpr int kind = static_cast<int>(info) & CURLINFO_TYPEMASK;
  static_assert(kind != CURLINFO_STRING || std::is_same_v<Value, char*>);
  static_assert(kind != CURLINFO_LONG || std::is_same_v<Value, long>);
  static_assert(kind != CURLINFO_OFF_T || std::is_same_v<Value, curl_off_t>);
  Value value = otherwise;
  return curl_easy_getinfo(easy, info, &value) == CURLE_OK ? value : otherwise;
}

// The first header of that name in a transfer's answer, or null.
const char* FindCurlHeader(CURL* easy, const char* name);

// Where a transfer's answer points to; empty: nowhere.
std::string_view LocationOf(CURL* easy);

// The sockets that libcurl has opened. Each is known by what it is, not by its number alone, which
// belongs to somebody else once libcurl has closed it.
class CurlSockets {
 public:
  // Takes note of one that was opened; false when it cannot be known, and must not be used.
  bool Add(curl_socket_t number);
  // The socket whose end here has that port; CURL_SOCKET_BAD if there is none.
  curl_socket_t WithLocalPort(int port) const;
  // Closes all of them behind libcurl's back: for a process that only inherited them.
  void CloseAll();

 private:
  struct Socket {
    curl_socket_t number;
    dev_t device;
    ino_t node;
    bool IsOpen() const;
  };

  std::vector<Socket> sockets_;  // those that are closed go when another is opened
};

}  // namespace kelo
