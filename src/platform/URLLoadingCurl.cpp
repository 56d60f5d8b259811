// URLs and errors of libcurl.
#include "platform/URLLoadingCurl.h"

#include <new>
#include <stdexcept>
#include <string>

#include "platform/URLLoading.h"

namespace kelo {

URLScheme SchemeOfURL(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return URLScheme::Malformed;
  CurlURL url(curl_url());
  if (!url) throw std::bad_alloc();
  const std::string terminated(text);
  CURLUcode code =
      curl_url_set(url.get(), CURLUPART_URL, terminated.c_str(), CURLU_NON_SUPPORT_SCHEME);
  char* raw = nullptr;
  if (code == CURLUE_OK) code = curl_url_get(url.get(), CURLUPART_SCHEME, &raw, 0);
  const std::unique_ptr<char, CurlDeleter<curl_free>> scheme(raw);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return URLScheme::Malformed;
  const std::string_view name(scheme.get());
  if (name == "https") return URLScheme::HTTPS;
  return name == "http" ? URLScheme::HTTP : URLScheme::Unsupported;
}

bool IsWellFormedURL(std::string_view text) {
  return SchemeOfURL(text) != URLScheme::Malformed;
}

bool MayRedirect(URLScheme from, URLScheme to) {
  return to == URLScheme::HTTPS || (to == URLScheme::HTTP && from == URLScheme::HTTP);
}

int URLErrorFromCurl(CURLcode code) {
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
      return kURLError_CannotConnectToHost;
    case CURLE_URL_MALFORMAT:
      return kURLError_BadURL;
    case CURLE_UNSUPPORTED_PROTOCOL:
      return kURLError_UnsupportedURL;
    default:  // a full memory too: the library says so also of a peer's endless header
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

}  // namespace kelo
